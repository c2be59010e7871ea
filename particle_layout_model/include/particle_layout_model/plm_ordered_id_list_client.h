#pragma once

#include <algorithm>
#include <functional>
#include <iterator>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "debug/debug_check.h"

namespace Plm
{

// A view of an owner's ordered list of ids: its only way to change the order. The owner keeps
// the vector; the view holds it by reference and lives no longer than it.
class OrderedIdListClientBase
{
public:
    using Uuid = boost::uuids::uuid;

    explicit OrderedIdListClientBase(std::vector<Uuid>& ids) : ids_(ids) {}
    OrderedIdListClientBase(const OrderedIdListClientBase&) = delete;
    OrderedIdListClientBase& operator=(const OrderedIdListClientBase&) = delete;

    unsigned int size() const { return static_cast<unsigned int>(ids_.size()); }
    bool empty() const { return ids_.empty(); }
    const Uuid& getId(unsigned int index) const
    {
        DEBUG_ASSERT(index < ids_.size());
        return ids_[index];
    }
    const std::vector<Uuid>& ids() const { return ids_; }

    boost::optional<unsigned int> findIndex(const Uuid& id) const
    {
        auto it = std::find(ids_.begin(), ids_.end(), id);
        if (it == ids_.end())
            return boost::none;
        return static_cast<unsigned int>(it - ids_.begin());
    }
    unsigned int getIndex(const Uuid& id) const
    {
        boost::optional<unsigned int> index = findIndex(id);
        DEBUG_ASSERT(index);
        return *index;
    }

    // Takes the id out and puts it at `to`, counted after the removal.
    void changeItemIndex(unsigned int from, unsigned int to)
    {
        DEBUG_ASSERT(from < ids_.size() && to < ids_.size());
        const Uuid id = ids_[from];
        ids_.erase(ids_.begin() + from);
        ids_.insert(ids_.begin() + to, id);
    }
    // Takes the id out and puts it directly behind `after`, or at the front without one.
    // Moving an id behind itself changes nothing.
    void changeItemIndexAfter(unsigned int from, const boost::optional<Uuid>& after)
    {
        DEBUG_ASSERT(from < ids_.size());
        const Uuid id = ids_[from];
        if (after && *after == id)
            return;
        ids_.erase(ids_.begin() + from);
        unsigned int to = 0;
        if (after)
            to = getIndex(*after) + 1;
        ids_.insert(ids_.begin() + to, id);
    }

    void syncRemove(const std::function<bool(const Uuid&)>& keep)
    {
        ids_.erase(
            std::remove_if(ids_.begin(), ids_.end(), [&](const Uuid& id) { return !keep(id); }),
            ids_.end());
    }
    void syncAdd(const Uuid& id)
    {
        if (!findIndex(id))
            ids_.push_back(id);
    }

protected:
    std::vector<Uuid>& ids_;
};

// The view with the objects behind the ids, found through the owner's lookup, so that a caller
// walks the objects in list order.
template <class T>
class OrderedIdListClient : public OrderedIdListClientBase
{
public:
    using Lookup = std::function<T&(const Uuid&)>;

    OrderedIdListClient(std::vector<Uuid>& ids, Lookup lookup)
        : OrderedIdListClientBase(ids), lookup_(std::move(lookup))
    {
    }

    T& operator[](unsigned int index) { return lookup_(getId(index)); }
    const T& operator[](unsigned int index) const { return lookup_(getId(index)); }

    template <class Item, class Client>
    class Iterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = Item*;
        using reference = Item&;

        Iterator(Client& client, unsigned int index) : client_(&client), index_(index) {}
        Item& operator*() const { return (*client_)[index_]; }
        Item* operator->() const { return &(*client_)[index_]; }
        Iterator& operator++()
        {
            ++index_;
            return *this;
        }
        bool operator==(const Iterator& o) const { return index_ == o.index_; }
        bool operator!=(const Iterator& o) const { return index_ != o.index_; }

    private:
        Client* client_;
        unsigned int index_;
    };
    using iterator = Iterator<T, OrderedIdListClient>;
    using const_iterator = Iterator<const T, const OrderedIdListClient>;

    iterator begin() { return iterator(*this, 0); }
    iterator end() { return iterator(*this, size()); }
    const_iterator begin() const { return const_iterator(*this, 0); }
    const_iterator end() const { return const_iterator(*this, size()); }

private:
    Lookup lookup_;
};

}  // namespace Plm
