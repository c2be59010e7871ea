#pragma once

#include <algorithm>
#include <cstddef>
#include <new>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "debug/debug_check.h"

// A state machine with one object per state. A transition destroys the present
// state object and builds the next one in the same storage, so a state's data
// lives and ends with the state, and what a state sets up in its constructor
// it undoes in its destructor, whichever way the state ends.
namespace PlainFsm
{

// The root of every state, whatever its context: lets a machine name its
// present state without knowing the state types.
class StateBase
{
public:
    StateBase() = default;
    StateBase(const StateBase&) = delete;
    StateBase& operator=(const StateBase&) = delete;
    virtual ~StateBase() = default;
};

template <class Context>
class StateWithContext;

namespace detail
{

// What a state knows of its machine: the context and the storage it lives in.
template <class Context>
struct Slot
{
    Context* context;
    void* storage;
    std::size_t size;
    std::size_t align;
    bool (*isState)(const std::type_info& type);  // one of the machine's state types?
    void (*reset)(Slot& slot);                    // builds the initial state
    StateWithContext<Context>* current;           // set by the state base's constructor
};

// The slot of the state being built: set right before a state is built in its
// machine's storage, taken at once by the state base's constructor.
template <class Context>
inline thread_local Slot<Context>* pendingSlot = nullptr;

template <class Context, class State, class... Args>
void emplace(Slot<Context>& slot, Args&&... args)
{
    static_assert(std::is_base_of_v<StateWithContext<Context>, State>,
                  "a state derives from StateWithContext of its machine's context");
    pendingSlot<Context> = &slot;
    try
    {
        ::new (slot.storage) State(std::forward<Args>(args)...);
    }
    catch (...)
    {
        pendingSlot<Context> = nullptr;
        throw;
    }
}

}  // namespace detail

// Base of all states of machines over `Context`.
template <class Context>
class StateWithContext : public StateBase
{
public:
    ~StateWithContext() override = default;

protected:
    // A state object exists only inside the storage of a machine.
    StateWithContext() : slot_(detail::pendingSlot<Context>)
    {
        DEBUG_ASSERT(slot_ != nullptr);
        detail::pendingSlot<Context> = nullptr;
        context_ = slot_->context;
        slot_->current = this;
    }

    Context& context() const { return *context_; }

    // Replaces this state by NextState(args...). Call it only as the last thing a
    // handler does and return its result at once: after it, this object is gone.
    // The arguments are copied first, so they may refer to data of this state.
    template <class NextState, class... Args>
    bool transit(Args&&... args)
    {
        static_assert(std::is_base_of_v<StateWithContext, NextState>,
                      "the next state belongs to a machine over the same context");
        detail::Slot<Context>& slot = *slot_;
        DEBUG_ASSERT(slot.isState(typeid(NextState)));
        std::tuple<std::decay_t<Args>...> copies(std::forward<Args>(args)...);
        this->~StateWithContext();  // virtual: the whole present state, storage kept
        try
        {
            std::apply([&slot](auto&... values)
                       { detail::emplace<Context, NextState>(slot, std::move(values)...); },
                       copies);
        }
        catch (...)
        {
            // The machine never stays without a state.
            slot.reset(slot);
            throw;
        }
        return true;
    }

private:
    detail::Slot<Context>* slot_;
    Context* context_;
};

// The storage of a machine: its own copy of the context and room for the
// largest of `States`, in which the present state lives. The first of
// `States` is the initial state, default-constructed. Transitions allocate
// nothing. Not copyable or movable: states point into it.
template <class Context, class... States>
class Machine
{
    static_assert(sizeof...(States) > 0, "a machine has at least one state");
    static_assert((std::is_base_of_v<StateWithContext<Context>, States> && ...),
                  "every state derives from StateWithContext of the machine's context");
    using Initial = std::tuple_element_t<0, std::tuple<States...>>;

public:
    static constexpr std::size_t storageSize = std::max({sizeof(States)...});
    static constexpr std::size_t storageAlign = std::max({alignof(States)...});

    explicit Machine(Context context)
        : context_(std::move(context)), slot_{&context_, storage_, storageSize, storageAlign,
                                              &isState,  &reset,   nullptr}
    {
        reset(slot_);
    }

    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    ~Machine()
    {
        using Base = StateWithContext<Context>;
        slot_.current->~Base();
    }

    Context& context() { return context_; }
    const Context& context() const { return context_; }

    StateWithContext<Context>& state() { return *slot_.current; }
    const StateWithContext<Context>& state() const { return *slot_.current; }

    // The present state as the base that all `States` share (the one that
    // declares the machine's events).
    template <class Base>
    Base& stateAs()
    {
        static_assert((std::is_base_of_v<Base, States> && ...), "a base of every state");
        return static_cast<Base&>(state());
    }

private:
    static bool isState(const std::type_info& type) { return ((type == typeid(States)) || ...); }
    static void reset(detail::Slot<Context>& slot) { detail::emplace<Context, Initial>(slot); }

    Context context_;
    detail::Slot<Context> slot_;
    alignas(States...) unsigned char storage_[storageSize];
};

}  // namespace PlainFsm
