#pragma once

#include <type_traits>
#include <utility>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointF>
#include <QWheelEvent>

#include "particle_layout_editor/utils/plain_fsm.h"

// The state machines of the editing surfaces: the plain machine with the
// mouse and key events that all of them share.
namespace EditorFsm
{

struct EventMouse
{
    enum Type
    {
        T_Move = 0,
        T_LeftDown = 1,
        T_LeftUp = 2,
        T_RightDown = 3,
        T_RightUp = 4,
        T_MiddleDown = 5,
        T_MiddleUp = 6,
    };

    const QPointF& pos;  // in the coordinates of the editing surface
    bool shift;
    bool ctrl;
    Type type;
};

struct EventMouseLeftDoubleClick
{
    const QPointF& pos;
    bool shift;
    bool ctrl;
};

struct EventMouseWheel
{
    const QPointF& pos;
    int delta;  // the wheel's angle delta
};

struct EventKey
{
    int action;  // 1 pressed, 0 released
    int key;     // Qt::Key
};

// Base of the states of an editing surface. Each handler returns true when it
// consumed the event; by default none does.
template <class Context>
class State : public PlainFsm::StateWithContext<Context>
{
public:
    virtual bool eventMouse(const EventMouse&) { return false; }
    virtual bool eventMouseLeftDoubleClick(const EventMouseLeftDoubleClick&) { return false; }
    virtual bool eventMouseWheel(const EventMouseWheel&) { return false; }
    virtual bool eventKey(const EventKey&) { return false; }
};

// A machine as its owner sees it.
class BaseFsm
{
public:
    BaseFsm() = default;
    BaseFsm(const BaseFsm&) = delete;
    BaseFsm& operator=(const BaseFsm&) = delete;
    virtual ~BaseFsm() = default;

    virtual bool eventMouse(const EventMouse& event) = 0;
    virtual bool eventMouseLeftDoubleClick(const EventMouseLeftDoubleClick& event) = 0;
    virtual bool eventMouseWheel(const EventMouseWheel& event) = 0;
    virtual bool eventKey(const EventKey& event) = 0;
    virtual const PlainFsm::StateBase* currentState() const = 0;
};

// A machine over its own copy of `context`, starting in the first of `States`.
// The events go to the present state.
template <class Context, class... States>
class Fsm : public BaseFsm
{
    static_assert((std::is_base_of_v<State<Context>, States> && ...),
                  "every state derives from EditorFsm::State of the machine's context");

public:
    explicit Fsm(Context context) : machine_(std::move(context)) {}

    bool eventMouse(const EventMouse& event) override { return state().eventMouse(event); }
    bool eventMouseLeftDoubleClick(const EventMouseLeftDoubleClick& event) override
    {
        return state().eventMouseLeftDoubleClick(event);
    }
    bool eventMouseWheel(const EventMouseWheel& event) override
    {
        return state().eventMouseWheel(event);
    }
    bool eventKey(const EventKey& event) override { return state().eventKey(event); }
    const PlainFsm::StateBase* currentState() const override { return &machine_.state(); }

    Context& context() { return machine_.context(); }

    // For the extensions that add events on a base of their own states.
    State<Context>& state() { return machine_.template stateAs<State<Context>>(); }
    template <class Base>
    Base& stateAs()
    {
        return machine_.template stateAs<Base>();
    }

private:
    PlainFsm::Machine<Context, States...> machine_;
};

// Translation of Qt's events, for the owners of machines. `pos` is the event's
// position mapped to the surface. Each returns whether the machine consumed it.

inline bool hasShift(const QInputEvent& event) { return event.modifiers() & Qt::ShiftModifier; }
inline bool hasCtrl(const QInputEvent& event) { return event.modifiers() & Qt::ControlModifier; }

// Move, press, release and double click. A press or release sends one event,
// for the first of the left, right and middle buttons that matches. A double
// click of the left button sends the double click and then, whatever became of
// it, a left press, so that the machine sees the second click as a new press;
// of the right or middle button, that button's press.
inline bool sendMouse(BaseFsm& fsm, const QMouseEvent& event, const QPointF& pos)
{
    const bool shift = hasShift(event);
    const bool ctrl = hasCtrl(event);
    auto send = [&](EventMouse::Type type) { return fsm.eventMouse({pos, shift, ctrl, type}); };
    auto byButton = [&](EventMouse::Type left, EventMouse::Type right, EventMouse::Type middle)
    {
        switch (event.button())
        {
        case Qt::LeftButton:
            return send(left);
        case Qt::RightButton:
            return send(right);
        case Qt::MiddleButton:
            return send(middle);
        default:
            return false;
        }
    };
    switch (event.type())
    {
    case QEvent::MouseMove:
        return send(EventMouse::T_Move);
    case QEvent::MouseButtonPress:
        return byButton(EventMouse::T_LeftDown, EventMouse::T_RightDown, EventMouse::T_MiddleDown);
    case QEvent::MouseButtonRelease:
        return byButton(EventMouse::T_LeftUp, EventMouse::T_RightUp, EventMouse::T_MiddleUp);
    case QEvent::MouseButtonDblClick:
        if (event.button() == Qt::LeftButton)
        {
            const bool consumed = fsm.eventMouseLeftDoubleClick({pos, shift, ctrl});
            return send(EventMouse::T_LeftDown) || consumed;
        }
        return byButton(EventMouse::T_LeftDown, EventMouse::T_RightDown, EventMouse::T_MiddleDown);
    default:
        return false;
    }
}

inline bool sendWheel(BaseFsm& fsm, const QWheelEvent& event, const QPointF& pos)
{
    return fsm.eventMouseWheel({pos, event.angleDelta().y()});
}

inline bool sendKey(BaseFsm& fsm, const QKeyEvent& event)
{
    return fsm.eventKey({event.type() == QEvent::KeyPress ? 1 : 0, event.key()});
}

}  // namespace EditorFsm
