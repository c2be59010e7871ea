#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "debug/debug_check.h"

// A list of objects of classes derived from T, laid out one after another in one byte
// buffer, with a list of descriptors (offset, copy-create function, delete function) beside
// it. A whole list is one value with two allocations and no separate object per item.
// Inserting, erasing or replacing in the middle rebuilds the buffer: the objects behind
// are copy-created at their new offsets and the old ones deleted.
template <class T>
class ObjVector
{
public:
    ObjVector() = default;
    ObjVector(const ObjVector& other) { copyFrom(other); }
    ObjVector(ObjVector&& other) noexcept { swap(other); }
    ObjVector& operator=(const ObjVector& other)
    {
        if (this != &other)
        {
            ObjVector copy(other);
            swap(copy);
        }
        return *this;
    }
    ObjVector& operator=(ObjVector&& other) noexcept
    {
        if (this != &other)
        {
            ObjVector moved(std::move(other));
            swap(moved);
        }
        return *this;
    }
    ~ObjVector()
    {
        clear();
        std::free(buffer_);
    }

    void swap(ObjVector& other) noexcept
    {
        std::swap(buffer_, other.buffer_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
        descs_.swap(other.descs_);
    }

    size_t size() const { return descs_.size(); }
    bool empty() const { return descs_.empty(); }

    T& operator[](size_t index)
    {
        DEBUG_ASSERT(index < descs_.size());
        return *at(descs_[index]);
    }
    const T& operator[](size_t index) const
    {
        DEBUG_ASSERT(index < descs_.size());
        return *at(descs_[index]);
    }
    T& back() { return (*this)[size() - 1]; }
    const T& back() const { return (*this)[size() - 1]; }

    // Appends a copy of `object`, held as its own class U.
    template <class U>
    U& pushBack(const U& object)
    {
        return insert(descs_.size(), object);
    }

    // Inserts a copy of `object` before the item at `index` (index == size() appends).
    template <class U>
    U& insert(size_t index, const U& object)
    {
        static_assert(std::is_base_of<T, U>::value, "ObjVector holds classes derived from T");
        DEBUG_ASSERT(index <= descs_.size());
        Desc desc = makeDesc<U>();
        if (index == descs_.size() && fits(desc))
        {
            // At the end with room to spare nothing has to move.
            desc.offset = alignUp(size_, desc.align);
            new (buffer_ + desc.offset) U(object);
            size_ = desc.offset + desc.size;
            descs_.push_back(desc);
            return *static_cast<U*>(static_cast<void*>(buffer_ + desc.offset));
        }
        std::vector<Desc> descs = descs_;
        descs.insert(descs.begin() + static_cast<std::ptrdiff_t>(index), desc);
        rebuild(descs, index, &object);
        return *static_cast<U*>(static_cast<void*>(buffer_ + descs_[index].offset));
    }

    // Replaces the item at `index` with a copy of `object` (which may be an item of this list).
    template <class U>
    U& replace(size_t index, const U& object)
    {
        DEBUG_ASSERT(index < descs_.size());
        const U copy(object);
        erase(index);
        return insert(index, copy);
    }

    void erase(size_t index)
    {
        DEBUG_ASSERT(index < descs_.size());
        std::vector<Desc> descs = descs_;
        descs.erase(descs.begin() + static_cast<std::ptrdiff_t>(index));
        rebuildWithout(descs, index);
    }

    void clear()
    {
        for (const Desc& desc : descs_)
            desc.destroy(buffer_ + desc.offset);
        descs_.clear();
        size_ = 0;
    }

private:
    struct Desc
    {
        size_t offset;
        size_t size;
        size_t align;
        void (*copyCreate)(void* where, const void* from);
        void (*destroy)(void* object);
        T* (*cast)(void* object);
    };

    template <class U>
    static Desc makeDesc()
    {
        Desc desc;
        desc.offset = 0;
        desc.size = sizeof(U);
        desc.align = alignof(U);
        desc.copyCreate = [](void* where, const void* from)
        { new (where) U(*static_cast<const U*>(from)); };
        desc.destroy = [](void* object) { static_cast<U*>(object)->~U(); };
        desc.cast = [](void* object) -> T* { return static_cast<U*>(object); };
        return desc;
    }

    static size_t alignUp(size_t offset, size_t align)
    {
        return (offset + align - 1) / align * align;
    }

    T* at(const Desc& desc) const { return desc.cast(buffer_ + desc.offset); }

    bool fits(const Desc& desc) const
    {
        return alignUp(size_, desc.align) + desc.size <= capacity_;
    }

    // Lays out `descs` in a new buffer. Item `fresh` (if below descs.size()) is created from
    // `freshObject`; the others are copied from the present items in order.
    void rebuild(std::vector<Desc>& descs, size_t fresh, const void* freshObject)
    {
        size_t total = 0;
        for (Desc& desc : descs)
        {
            desc.offset = alignUp(total, desc.align);
            total = desc.offset + desc.size;
        }
        const size_t capacity = total + total / 2 + 16;
        unsigned char* buffer = static_cast<unsigned char*>(std::malloc(capacity));
        if (!buffer)
            throw std::bad_alloc();
        size_t created = 0;
        try
        {
            size_t source = 0;
            for (size_t i = 0; i < descs.size(); ++i, ++created)
            {
                if (i == fresh)
                {
                    descs[i].copyCreate(buffer + descs[i].offset, freshObject);
                }
                else
                {
                    const Desc& old = descs_[source++];
                    descs[i].copyCreate(buffer + descs[i].offset, buffer_ + old.offset);
                }
            }
        }
        catch (...)
        {
            for (size_t i = 0; i < created; ++i)
                descs[i].destroy(buffer + descs[i].offset);
            std::free(buffer);
            throw;
        }
        clear();
        std::free(buffer_);
        buffer_ = buffer;
        size_ = total;
        capacity_ = capacity;
        descs_.swap(descs);
    }

    void rebuildWithout(std::vector<Desc>& descs, size_t removed)
    {
        // Copy the survivors into a fresh buffer, skipping the removed item.
        ObjVector result;
        size_t total = 0;
        for (Desc& desc : descs)
        {
            desc.offset = alignUp(total, desc.align);
            total = desc.offset + desc.size;
        }
        result.capacity_ = total + 16;
        result.buffer_ = static_cast<unsigned char*>(std::malloc(result.capacity_));
        if (!result.buffer_)
            throw std::bad_alloc();
        for (size_t i = 0, source = 0; i < descs.size(); ++i, ++source)
        {
            if (source == removed)
                ++source;
            descs[i].copyCreate(result.buffer_ + descs[i].offset, buffer_ + descs_[source].offset);
            result.descs_.push_back(descs[i]);
            result.size_ = descs[i].offset + descs[i].size;
        }
        swap(result);
    }

    void copyFrom(const ObjVector& other)
    {
        if (other.descs_.empty())
            return;
        capacity_ = other.size_;
        buffer_ = static_cast<unsigned char*>(std::malloc(capacity_));
        if (!buffer_)
            throw std::bad_alloc();
        descs_.reserve(other.descs_.size());
        for (const Desc& desc : other.descs_)
        {
            desc.copyCreate(buffer_ + desc.offset, other.buffer_ + desc.offset);
            descs_.push_back(desc);
        }
        size_ = other.size_;
    }

    unsigned char* buffer_ = nullptr;  // malloc'd: aligned for any fundamental type
    size_t size_ = 0;                  // bytes in use
    size_t capacity_ = 0;
    std::vector<Desc> descs_;
};
