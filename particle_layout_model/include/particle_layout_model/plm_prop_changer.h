#pragma once

#include <memory>
#include <utility>

#include <boost/optional/optional.hpp>

#include "particle_layout_model/plm_props.h"

namespace Plm
{

// The editor's hold on a property: it reads the property and writes it through the owner's
// setter, so that every write passes the owner's validation and notification.
class PropChangerBase
{
public:
    PropChangerBase() = default;
    PropChangerBase(const PropChangerBase&) = delete;
    PropChangerBase& operator=(const PropChangerBase&) = delete;
    virtual ~PropChangerBase() = default;

    virtual bool isOverridden() const = 0;
    virtual void revert() = 0;
    virtual bool isPropShared() const = 0;
    virtual bool isExternal() const = 0;
    virtual void setExternal(bool external) = 0;
};

template <class T>
class PropChanger : public PropChangerBase
{
public:
    virtual const T& get() const = 0;
    virtual void set(const T& value) = 0;
};

// Reads straight from the property; leaves writing open.
template <class T>
class DirectPropChanger : public PropChanger<T>
{
public:
    explicit DirectPropChanger(PropBaseTyped<T>& prop) : prop_(prop) {}

    bool isOverridden() const override { return prop_.isOverridden(); }
    bool isPropShared() const override { return prop_.isShared(); }
    bool isExternal() const override { return prop_.isExternal(); }
    void setExternal(bool external) override { prop_.setExternal(external); }
    const T& get() const override { return prop_.get(); }

protected:
    PropBaseTyped<T>& prop_;
};

// Writes through a callable bound to the owner's setter: set(v) passes v, revert() passes
// an empty optional.
template <class T, class F>
class PropChangerFunc : public DirectPropChanger<T>
{
public:
    PropChangerFunc(PropBaseTyped<T>& prop, F setter)
        : DirectPropChanger<T>(prop), setter_(std::move(setter))
    {
    }

    void set(const T& value) override { setter_(boost::optional<T>(value)); }
    void revert() override { setter_(boost::optional<T>()); }

private:
    F setter_;
};

template <class T, class F>
std::unique_ptr<PropChanger<T>> makePropChanger(PropBaseTyped<T>& prop, F setter)
{
    return std::make_unique<PropChangerFunc<T, F>>(prop, std::move(setter));
}

// Shows a property of type T as a value of type I (the integer and enumeration editors).
template <class I, class T>
class CastedPropChanger : public PropChanger<I>
{
public:
    explicit CastedPropChanger(std::unique_ptr<PropChanger<T>> inner) : inner_(std::move(inner)) {}

    bool isOverridden() const override { return inner_->isOverridden(); }
    void revert() override { inner_->revert(); }
    bool isPropShared() const override { return inner_->isPropShared(); }
    bool isExternal() const override { return inner_->isExternal(); }
    void setExternal(bool external) override { inner_->setExternal(external); }

    const I& get() const override
    {
        cache_ = static_cast<I>(inner_->get());
        return *cache_;
    }
    void set(const I& value) override { inner_->set(static_cast<T>(value)); }

private:
    std::unique_ptr<PropChanger<T>> inner_;
    mutable boost::optional<I> cache_;
};

}  // namespace Plm
