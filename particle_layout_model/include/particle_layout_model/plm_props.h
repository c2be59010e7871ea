#pragma once

#include <algorithm>
#include <type_traits>
#include <vector>

#include <boost/optional/optional.hpp>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_prop_value_sl.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_scoped_group.h"

namespace Plm
{

class PropBase;

// Keeps the list of its properties, in the order of their construction, and is told of
// their changes. It doesn't own them: they are its members, or members of what it owns.
class PropsOwner
{
public:
    PropsOwner() = default;
    PropsOwner(const PropsOwner&) = delete;
    PropsOwner& operator=(const PropsOwner&) = delete;
    virtual ~PropsOwner() = default;

    // Rebuilds what depends on which properties are external; nothing here.
    virtual void updateConnectors() {}
    // `affectsExport`: whether the change can alter what export produces; nothing here.
    virtual void notifyPropChanged(bool affectsExport) {}

    unsigned int getNumProps() const { return static_cast<unsigned int>(props_.size()); }
    const PropBase& getProp(unsigned int index) const;
    PropBase& getProp(unsigned int index);

    void registerProp(PropBase& prop);
    void unregisterProp(PropBase& prop);

    // Turns every override into the default.
    void bakeProps();
    bool hasOverridedProps() const;

private:
    std::vector<PropBase*> props_;
};

// A property: registered with its owner for its whole life.
class PropBase
{
public:
    PropBase(const PropBase&) = delete;
    PropBase& operator=(const PropBase&) = delete;
    virtual ~PropBase() { owner_.unregisterProp(*this); }

    virtual bool isShared() const = 0;
    virtual bool isOverridden() const = 0;
    virtual bool isExternal() const = 0;
    virtual void setExternal(bool external) = 0;
    virtual void bake() = 0;

    const PropsOwner& getOwner() const { return owner_; }
    PropsOwner& getOwner() { return owner_; }

protected:
    explicit PropBase(PropsOwner& owner) : owner_(owner) { owner_.registerProp(*this); }

private:
    PropsOwner& owner_;
};

// Told of each property as it saves itself, while one is installed: a description of a block
// pairs what it reads in the stream with the property objects this way. Main thread only.
class PropSaveObserver
{
public:
    virtual void propSaving(const PropBase& prop) = 0;
    static PropSaveObserver* current() { return current_; }

protected:
    // Installs itself for its lifetime.
    PropSaveObserver() : previous_(current_) { current_ = this; }
    ~PropSaveObserver() { current_ = previous_; }

private:
    PropSaveObserver* previous_;
    static inline PropSaveObserver* current_ = nullptr;
};

inline const PropBase& PropsOwner::getProp(unsigned int index) const
{
    DEBUG_ASSERT(index < props_.size());
    return *props_[index];
}

inline PropBase& PropsOwner::getProp(unsigned int index)
{
    DEBUG_ASSERT(index < props_.size());
    return *props_[index];
}

inline void PropsOwner::registerProp(PropBase& prop)
{
    DEBUG_ASSERT(std::find(props_.begin(), props_.end(), &prop) == props_.end());
    props_.push_back(&prop);
}

inline void PropsOwner::unregisterProp(PropBase& prop)
{
    auto it = std::find(props_.begin(), props_.end(), &prop);
    DEBUG_ASSERT(it != props_.end());
    props_.erase(it);
}

inline void PropsOwner::bakeProps()
{
    for (PropBase* prop : props_)
        if (prop->isOverridden())
            prop->bake();
}

inline bool PropsOwner::hasOverridedProps() const
{
    return std::any_of(props_.begin(), props_.end(),
                       [](const PropBase* prop) { return prop->isOverridden(); });
}

// A typed value in two layers: the default (the class's value, or what reflection sources
// say) and an optional override (the local edit).
template <class T>
class PropBaseTyped : public PropBase
{
public:
    using ValueType = T;

    // For an object about to be loaded: no value until load().
    PropBaseTyped(PropsOwner& owner, bool shared) : PropBase(owner), shared_(shared) {}
    PropBaseTyped(PropsOwner& owner, bool shared, bool external, const T& defaultValue)
        : PropBase(owner),
          shared_(shared),
          core_(Core{defaultValue, boost::none}),
          external_(external)
    {
    }
    // For a copied owner: both layers and the external flag.
    PropBaseTyped(PropsOwner& owner, bool shared, const PropBaseTyped& other)
        : PropBase(owner), shared_(shared), core_(other.core_), external_(other.external_)
    {
    }

    const T& get() const
    {
        DEBUG_ASSERT(core_);
        return core_->overrideValue ? *core_->overrideValue : core_->defaultValue;
    }
    const T& getDefault() const
    {
        DEBUG_ASSERT(core_);
        return core_->defaultValue;
    }

    // Stores the override, or clears it. Tells nobody: that is the owner's setter's task.
    void set(const boost::optional<T>& value)
    {
        DEBUG_ASSERT(core_);
        core_->overrideValue = value;
    }

    void reset(const T& defaultValue)
    {
        if (!core_)
            core_ = Core{defaultValue, boost::none};
        else
        {
            core_->defaultValue = defaultValue;
            core_->overrideValue = boost::none;
        }
    }

    // Takes the source's current value as the default. A shared property drops its override;
    // a plain one keeps it. The caller rebuilds the connectors.
    void sync(const PropBaseTyped& source)
    {
        if (core_)
        {
            core_->defaultValue = source.get();
            if (shared_)
                core_->overrideValue = boost::none;
        }
        else
        {
            core_ = Core{source.get(), boost::none};
        }
        external_ = source.external_;
    }

    void bake() override
    {
        DEBUG_ASSERT(core_);
        if (core_->overrideValue)
        {
            core_->defaultValue = *core_->overrideValue;
            core_->overrideValue = boost::none;
        }
    }

    bool isShared() const override { return shared_; }
    bool isOverridden() const override
    {
        DEBUG_ASSERT(core_);
        return static_cast<bool>(core_->overrideValue);
    }
    bool isExternal() const override { return external_; }
    void setExternal(bool external) override
    {
        external_ = external;
        getOwner().updateConnectors();
        getOwner().notifyPropChanged(true);
    }

    void save(const char* name, Sl::RevisionSaver& saver) const
    {
        DEBUG_ASSERT(core_);
        if (PropSaveObserver* observer = PropSaveObserver::current())
            observer->propSaving(*this);
        Sl::ScopedSaverGroup group(name, saver);
        PropValue<T>::write("default", saver, core_->defaultValue);
        {
            Sl::ScopedSaverGroup overrideGroup("override", saver);
            saver.write(nullptr, static_cast<bool>(core_->overrideValue));
            if (core_->overrideValue)
                PropValue<T>::write(nullptr, saver, *core_->overrideValue);
        }
        saver.write("external", external_);
    }

    // Reads by position. The property changes only once the whole record has been read.
    void load(Sl::RevisionLoader& loader)
    {
        Core core{T(), boost::none};
        bool external = false;
        {
            Sl::ScopedLoaderGroup group(loader);
            PropValue<T>::read(loader, core.defaultValue);
            {
                Sl::ScopedLoaderGroup overrideGroup(loader);
                bool hasOverride = false;
                loader.read(hasOverride);
                if (hasOverride)
                {
                    T value{};
                    PropValue<T>::read(loader, value);
                    core.overrideValue = std::move(value);
                }
            }
            loader.read(external);
        }
        core_ = std::move(core);
        external_ = external;
    }

private:
    struct Core
    {
        T defaultValue;
        boost::optional<T> overrideValue;
    };

    const bool shared_;
    boost::optional<Core> core_;
    bool external_ = false;
};

// A property whose override is a local matter of a reflected block.
template <class T>
class Prop : public PropBaseTyped<T>
{
public:
    explicit Prop(PropsOwner& owner) : PropBaseTyped<T>(owner, false) {}
    Prop(PropsOwner& owner, bool external, const T& defaultValue)
        : PropBaseTyped<T>(owner, false, external, defaultValue)
    {
    }
    Prop(PropsOwner& owner, const Prop& other) : PropBaseTyped<T>(owner, false, other) {}
};

// A property that shapes its owner (a count, a connector type): a reflection always takes it
// from the source.
template <class T>
class SharedProp : public PropBaseTyped<T>
{
public:
    explicit SharedProp(PropsOwner& owner) : PropBaseTyped<T>(owner, true) {}
    SharedProp(PropsOwner& owner, bool external, const T& defaultValue)
        : PropBaseTyped<T>(owner, true, external, defaultValue)
    {
    }
    SharedProp(PropsOwner& owner, const SharedProp& other) : PropBaseTyped<T>(owner, true, other) {}
};

// The body of an owner's setter: stores the override (an empty value reverts to the default)
// and tells the owner.
template <class T>
void setPropAndNotify(PropBaseTyped<T>& prop, const boost::optional<T>& value)
{
    prop.set(value);
    prop.getOwner().notifyPropChanged(true);
}

// Whether a setter would change anything: the override state or the current value. Setters
// of properties that shape their owner return at once when it wouldn't.
template <class T>
bool wouldPropChange(const PropBaseTyped<T>& prop, const boost::optional<T>& value)
{
    if (prop.isOverridden() != static_cast<bool>(value))
        return true;
    return value && !(prop.get() == *value);
}

}  // namespace Plm
