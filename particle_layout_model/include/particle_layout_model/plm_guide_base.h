#pragma once

#include <algorithm>
#include <memory>
#include <typeinfo>
#include <string>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_block_connector.h"
#include "particle_layout_model/plm_props.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"

namespace Plm
{

class Emitter;
class EmitterGuide;
class BlockFunc;

// The guide: a form of ten sections over an emitter's graph. Each section owns a known piece of
// the graph, writes its form values into the blocks' properties and reads them back; the block
// is the truth, and a section whose piece no longer has its shape turns invalid rather than
// repairing it.
namespace Eg
{

using Uuid = boost::uuids::uuid;

class Value;

// Events: what one section tells the others through the guide's queue.
class Event
{
public:
    virtual ~Event() = default;
};

struct EventCustomValueChanged : Event
{
    explicit EventCustomValueChanged(const Uuid& id_) : id(id_) {}
    Uuid id;
};

struct EventCustomValueRemoved : Event
{
    explicit EventCustomValueRemoved(const Uuid& id_) : id(id_) {}
    Uuid id;
};

struct EventCustomValueRenamed : Event
{
    EventCustomValueRenamed(const Uuid& id_, std::string name_) : id(id_), name(std::move(name_)) {}
    Uuid id;
    std::string name;
};

struct EventTerminationChanged : Event
{
};

struct EventVelocityChanged : Event
{
};

// Every object of the guide: it knows its guide, and through it the emitter. The blocks it
// names by id may be gone at any time (the scheme edits the same graph), so every lookup
// answers null rather than asserting.
class Base
{
public:
    // Selects the constructors that build an object with no blocks, for the guide of a
    // reflected emitter; syncReflection then fills it.
    struct EmptyReflectionTag
    {
    };

    explicit Base(EmitterGuide& guide) : guide_(guide) {}
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    virtual ~Base() = default;

    // Migration that needs the emitter's blocks, after a load.
    virtual void postLoad() {}
    virtual bool isValid() const = 0;
    // Reads the form values back from the blocks and tests the shape of the piece of graph.
    virtual void updateFromEmitter() = 0;
    // Re-creates the links of this object, if it is valid.
    virtual void fixLinks() = 0;
    // Removes the blocks of this object that still exist and releases what it requested.
    virtual void removeFromEmitter() = 0;
    virtual boost::optional<BlockConnector> getOutputConnector() const = 0;
    virtual void save(Sl::RevisionSaver& saver) const = 0;
    virtual void processEvent(const Event&) {}
    virtual void collectValues(std::vector<Value*>&) {}
    // Takes the state of `source`, the same object in the guide of the emitter this one
    // reflects (of the same dynamic class): its kinds and flags, the ids of the blocks here that
    // reflect its blocks, and its form values as the sources of this one's. Overrides made here
    // stay. Makes and removes no block: the blocks come with the emitter's synchronisation.
    virtual void syncReflection(const Base& source) = 0;

    EmitterGuide& guide() const { return guide_; }
    Emitter& emitter() const;

protected:
    // The id of the block of this emitter that reflects the block `sourceId` of the source's
    // emitter; a nil id (which names no block) if there is none, so that this object gives up
    // as its source did.
    Uuid reflBlockId(const Base& source, const Uuid& sourceId) const;
    boost::optional<Uuid> reflBlockId(const Base& source,
                                      const boost::optional<Uuid>& sourceId) const
    {
        return sourceId ? boost::make_optional(reflBlockId(source, *sourceId)) : boost::none;
    }

    // Lookups that tolerate a missing block or one of another kind.
    Block* findBlock(const Uuid& id) const;
    Block* findBlock(const boost::optional<Uuid>& id) const
    {
        return id ? findBlock(*id) : nullptr;
    }
    template <class T>
    T* findBlockAs(const Uuid& id) const
    {
        return dynamic_cast<T*>(findBlock(id));
    }
    template <class T>
    T* findBlockAs(const boost::optional<Uuid>& id) const
    {
        return id ? findBlockAs<T>(*id) : nullptr;
    }
    // A block of this kind with that id exists.
    template <class T>
    bool isBlockOf(const Uuid& id) const
    {
        return findBlockAs<T>(id) != nullptr;
    }
    // The block is added to the emitter; a function block gets a random place in the work area.
    template <class T>
    T& addBlock(std::unique_ptr<T> block)
    {
        T& added = *block;
        addBlockImpl(std::unique_ptr<Block>(std::move(block)));
        return added;
    }
    // Removes the block if it still exists.
    void removeBlockIfExists(const Uuid& id) const;
    void removeBlockIfExists(const boost::optional<Uuid>& id) const
    {
        if (id)
            removeBlockIfExists(*id);
    }

    // The connector of that fixed index on that block, if both exist.
    boost::optional<BlockConnector> findConnector(const Uuid& blockId, uint32_t index) const;
    // A link from `output` to the input `inputIndex` of `inputId` stands.
    bool hasLink(const boost::optional<BlockConnector>& output, const Uuid& inputId,
                 uint32_t inputIndex) const;
    bool hasLink(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
                 uint32_t inputIndex) const;
    // Links `output` to the input; both sides must exist ("implConn" and "inputConn" checks):
    // only a valid object links, and a valid object has its blocks.
    void link(const boost::optional<BlockConnector>& output, const Uuid& inputId,
              uint32_t inputIndex) const;
    void link(const Uuid& outputId, uint32_t outputIndex, const Uuid& inputId,
              uint32_t inputIndex) const;
    // The link standing on that input, if any.
    boost::optional<BlockLink> linkOnInput(const Uuid& inputId, uint32_t inputIndex) const;

private:
    void addBlockImpl(std::unique_ptr<Block> block) const;

    EmitterGuide& guide_;
};

// An object that a section replaces when the user picks another kind: a reflection makes an
// empty twin of the source's kind.
class ReflectableBase : public Base
{
public:
    using Base::Base;
    virtual std::unique_ptr<ReflectableBase> reflect(EmitterGuide& guide) const = 0;
};

// Whether two objects are of the same dynamic class.
template <class A, class B>
bool isSameClass(const A& a, const B& b)
{
    return typeid(a) == typeid(b);
}

// Makes `ptr` an empty twin of `source` if the two differ in dynamic class (or one is null);
// null for a null source.
template <class T>
void makeTheSameType(std::unique_ptr<T>& ptr, const T* source, EmitterGuide& guide)
{
    if (!source)
    {
        ptr.reset();
        return;
    }
    if (ptr && isSameClass(*ptr, *source))
        return;
    std::unique_ptr<ReflectableBase> twin = source->reflect(guide);
    T* typed = dynamic_cast<T*>(twin.get());
    DEBUG_ASSERT(typed && isSameClass(*typed, *source));
    twin.release();
    ptr.reset(typed);
}

// Brings `items` to the length of `source` (new items by `make`) and syncs each pair.
template <class T, class Make, class Sync>
void syncVector(std::vector<T>& items, const std::vector<T>& source, Make&& make, Sync&& sync)
{
    items.resize(std::min(items.size(), source.size()));
    while (items.size() < source.size())
        items.push_back(make(source[items.size()]));
    for (size_t i = 0; i < items.size(); ++i)
        sync(items[i], source[i]);
}

// An object whose number of components (1, 2 or 3) can change.
class BaseDimensions : public Base
{
public:
    BaseDimensions(EmitterGuide& guide, unsigned int dimensions)
        : Base(guide), dimensions_(dimensions)
    {
    }

    unsigned int dimensions() const { return dimensions_; }
    virtual bool isDimensionSupported(unsigned int) const { return true; }
    // Nothing if unchanged; asserts support, changes what depends on it, then stores it.
    void changeDimensions(unsigned int value);

    // A group, version 0: the dimensions, then saveImpl.
    void save(Sl::RevisionSaver& saver) const final;

protected:
    virtual void changeDimensionsImpl(unsigned int value) = 0;
    virtual void saveImpl(Sl::RevisionSaver& saver) const = 0;
    // The load of what save writes: the caller opens the group (Sl::ScopedLoaderGroup,
    // version 0), reads the dimensions with this (1 to 3, else corrupt data), then its own part.
    static unsigned int loadDimensions(Sl::RevisionLoader& loader);
    void setDimensionsOnLoad(unsigned int value) { dimensions_ = value; }

private:
    unsigned int dimensions_;
};

// The guide's copy of one property of a block.
class ReflBase
{
public:
    virtual ~ReflBase() = default;
    virtual bool isOverridden() const = 0;
    virtual void discardOverride() = 0;
    virtual void bake() = 0;
};

// The two layers of a block property as the form shows them: the value without a local
// change, and the local change.
template <class T>
class Refl : public ReflBase
{
public:
    Refl() = default;
    explicit Refl(const T& source) : source_(source) {}

    const T& get() const { return override_ ? *override_ : source_; }
    // A reflection's form value: the source's current value is the base; the override stays.
    void syncBase(const Refl& other) { source_ = other.get(); }
    const T& source() const { return source_; }
    const boost::optional<T>& override() const { return override_; }
    void setSource(const T& value) { source_ = value; }
    void setOverride(const boost::optional<T>& value) { override_ = value; }

    bool isOverridden() const override { return static_cast<bool>(override_); }
    void discardOverride() override { override_ = boost::none; }
    void bake() override
    {
        if (override_)
        {
            source_ = *override_;
            override_ = boost::none;
        }
    }

    // A group, version 0: "source", then "override" as an optional value is written (a group
    // of a flag and the value).
    void save(const char* name, Sl::RevisionSaver& saver) const
    {
        saveForm(name, saver, source_, override_.get_ptr());
    }
    // The same form from the two layers as plain values (no override: null).
    static void saveForm(const char* name, Sl::RevisionSaver& saver, const T& source, const T* over)
    {
        Sl::ScopedSaverGroup group(name, saver, 0);
        PropValue<T>::write("source", saver, source);
        Sl::ScopedSaverGroup overrideGroup("override", saver);
        saver.write("has_value", over != nullptr);
        if (over)
            PropValue<T>::write("value", saver, *over);
    }
    void load(Sl::RevisionLoader& loader)
    {
        T source{};
        boost::optional<T> over;
        {
            Sl::ScopedLoaderGroup group(loader, 0);
            PropValue<T>::read(loader, source);
            Sl::ScopedLoaderGroup overrideGroup(loader);
            bool has = false;
            loader.read(has);
            if (has)
            {
                T value{};
                PropValue<T>::read(loader, value);
                over = std::move(value);
            }
        }
        source_ = std::move(source);
        override_ = std::move(over);
    }

private:
    T source_{};
    boost::optional<T> override_;
};

// The block of `emitter` that reflects the block `sourceId` of `sourceEmitter`: the one with
// its systemReflId, else the one with its emitterReflId; none if the source block or its
// reflection isn't there.
boost::optional<Uuid> findReflectedBlockId(const Emitter& emitter, const Emitter& sourceEmitter,
                                           const Uuid& sourceId);

// The form value follows the property: an overridden property gives the override, and the
// source stays; else the source takes the value, and the override goes.
template <class T>
void updateReflFromProp(Refl<T>& refl, const PropBaseTyped<T>& prop)
{
    if (prop.isOverridden())
        refl.setOverride(prop.get());
    else
    {
        refl.setSource(prop.get());
        refl.setOverride(boost::none);
    }
}

// The same, for a value read through a getter and an overridden-flag.
template <class T>
void updateReflFromValue(Refl<T>& refl, const T& value, bool overridden)
{
    if (overridden)
        refl.setOverride(value);
    else
    {
        refl.setSource(value);
        refl.setOverride(boost::none);
    }
}

}  // namespace Eg
}  // namespace Plm
