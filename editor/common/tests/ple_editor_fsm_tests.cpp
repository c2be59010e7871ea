#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include "particle_layout_editor/utils/editor_fsm.h"

// Allocation counting for this file's tests. The replacement serves the whole
// test program: it counts only on a thread that set the flag and otherwise
// is plain malloc/free.
namespace
{
thread_local bool countAllocations = false;
thread_local int allocationCount = 0;
}  // namespace

void* operator new(std::size_t size)
{
    if (countAllocations)
        ++allocationCount;
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace
{

struct AllocationCounter
{
    AllocationCounter()
    {
        allocationCount = 0;
        countAllocations = true;
    }
    ~AllocationCounter() { countAllocations = false; }
    int count() const { return allocationCount; }
};

using EditorFsm::EventKey;
using EditorFsm::EventMouse;
using EditorFsm::EventMouseLeftDoubleClick;
using EditorFsm::EventMouseWheel;

// What the states saw and did, in a fixed buffer: logging allocates nothing.
struct Journal
{
    char text[256] = {};
    int length = 0;
    void add(const char* s)
    {
        while (*s && length < 255)
            text[length++] = *s++;
    }
    std::string str() const { return std::string(text, length); }
};

struct Ctx
{
    Journal* journal;
};

// Long enough to live on the heap, so that a dangling reference to it would show.
const char* const longName = "a name long enough to live on the heap, not inside";

class Idle;
class Drag;
class Broken;

class Idle : public EditorFsm::State<Ctx>
{
public:
    Idle() { context().journal->add("+I"); }
    ~Idle() override { context().journal->add("-I"); }
    bool eventMouse(const EventMouse& e) override;
};

// Holds data that it scribbles over when it ends, as a state that cleans up does.
class Drag : public EditorFsm::State<Ctx>
{
public:
    Drag(QPointF start, std::string name) : start_(start), name_(std::move(name))
    {
        context().journal->add("+D");
    }
    ~Drag() override
    {
        context().journal->add("-D");
        start_ = QPointF(-1, -1);
        name_.assign(name_.size(), '#');
    }
    bool eventMouse(const EventMouse& e) override;

    QPointF start_;
    std::string name_;
};

class Broken : public EditorFsm::State<Ctx>
{
public:
    Broken() { throw std::runtime_error("can't start"); }
};

bool Idle::eventMouse(const EventMouse& e)
{
    if (e.type != EventMouse::T_LeftDown)
        return false;
    return transit<Drag>(e.pos, std::string(e.shift ? longName : "plain"));
}

bool Drag::eventMouse(const EventMouse& e)
{
    if (e.type == EventMouse::T_LeftUp)
        return transit<Idle>();
    if (e.type == EventMouse::T_RightDown)
        return transit<Broken>();
    // A new drag from the old one's own data.
    if (e.type == EventMouse::T_MiddleDown)
        return transit<Drag>(start_, name_);
    return false;
}

using Machine = EditorFsm::Fsm<Ctx, Idle, Drag, Broken>;

bool send(Machine& fsm, EventMouse::Type type, QPointF pos = {}, bool shift = false)
{
    return fsm.eventMouse({pos, shift, false, type});
}

TEST(EditorFsmTransitions, NoAllocationAndDestructorBeforeConstructor)
{
    Journal journal;
    {
        Machine fsm(Ctx{&journal});
        EXPECT_EQ(journal.str(), "+I");
        {
            AllocationCounter counter;
            // The counter sees a real allocation...
            delete new int(1);
            EXPECT_EQ(counter.count(), 1);
        }
        AllocationCounter counter;
        for (int i = 0; i < 200; ++i)
        {
            send(fsm, EventMouse::T_LeftDown, QPointF(i, i));
            send(fsm, EventMouse::T_MiddleDown);
            send(fsm, EventMouse::T_LeftUp);
        }
        // ...and none in 600 transitions.
        EXPECT_EQ(counter.count(), 0);
    }
    // Each old state ended before the next began; the machine ends its last state.
    const std::string cycle = "-I+D-D+D-D+I";
    std::string expected = "+I";
    while (expected.size() + cycle.size() <= 255)
        expected += cycle;
    EXPECT_EQ(journal.str().substr(0, expected.size()), expected);

    Journal last;
    {
        Machine fsm(Ctx{&last});
        send(fsm, EventMouse::T_LeftDown);
    }
    EXPECT_EQ(last.str(), "+I-I+D-D");
}

TEST(EditorFsmTransitions, ArgumentsFromTheOldStateSurviveIt)
{
    Journal journal;
    Machine fsm(Ctx{&journal});
    send(fsm, EventMouse::T_LeftDown, QPointF(3.5, -2), true);
    auto* first = dynamic_cast<const Drag*>(fsm.currentState());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->name_, longName);
    EXPECT_EQ(first->start_, QPointF(3.5, -2));

    // The new Drag is built from start_ and name_ of the Drag it replaces, in the
    // same storage, after that one scribbled over them.
    EXPECT_TRUE(send(fsm, EventMouse::T_MiddleDown));
    auto* second = dynamic_cast<const Drag*>(fsm.currentState());
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(static_cast<const void*>(second), static_cast<const void*>(first));
    EXPECT_EQ(second->name_, longName);
    EXPECT_EQ(second->start_, QPointF(3.5, -2));
}

TEST(EditorFsmTransitions, UnhandledEventsLeaveTheState)
{
    Journal journal;
    Machine fsm(Ctx{&journal});
    const QPointF p(1, 2);
    const PlainFsm::StateBase* idle = fsm.currentState();
    EXPECT_FALSE(fsm.eventMouseLeftDoubleClick({p, false, false}));
    EXPECT_FALSE(fsm.eventMouseWheel({p, 120}));
    EXPECT_FALSE(fsm.eventKey({1, Qt::Key_Escape}));
    EXPECT_FALSE(send(fsm, EventMouse::T_Move));
    EXPECT_FALSE(send(fsm, EventMouse::T_RightUp));
    EXPECT_EQ(fsm.currentState(), idle);
    EXPECT_NE(dynamic_cast<const Idle*>(fsm.currentState()), nullptr);
    EXPECT_EQ(journal.str(), "+I");
}

TEST(EditorFsmTransitions, FailedConstructionFallsBackToTheInitialState)
{
    Journal journal;
    Machine fsm(Ctx{&journal});
    send(fsm, EventMouse::T_LeftDown);
    EXPECT_THROW(send(fsm, EventMouse::T_RightDown), std::runtime_error);
    EXPECT_NE(dynamic_cast<const Idle*>(fsm.currentState()), nullptr);
    EXPECT_EQ(journal.str(), "+I-I+D-D+I");
    // The machine goes on working.
    EXPECT_TRUE(send(fsm, EventMouse::T_LeftDown));
    EXPECT_NE(dynamic_cast<const Drag*>(fsm.currentState()), nullptr);
}

TEST(EditorFsmTransitions, StatesExistOnlyInAMachine)
{
    Journal journal;
    EXPECT_THROW(Idle idle, Debug::CheckException);
    EXPECT_EQ(journal.str(), "");
}

// Records every machine event it gets; consumes what `consume` says.
struct RecCtx
{
    std::vector<std::string>* seen;
    bool consume;
};

class Recorder : public EditorFsm::State<RecCtx>
{
public:
    bool eventMouse(const EventMouse& e) override
    {
        return record("m" + std::to_string(e.type) + flags(e.shift, e.ctrl) + at(e.pos));
    }
    bool eventMouseLeftDoubleClick(const EventMouseLeftDoubleClick& e) override
    {
        return record("dbl" + flags(e.shift, e.ctrl) + at(e.pos));
    }
    bool eventMouseWheel(const EventMouseWheel& e) override
    {
        return record("w" + std::to_string(e.delta) + at(e.pos));
    }
    bool eventKey(const EventKey& e) override
    {
        return record("k" + std::to_string(e.action) + ":" + std::to_string(e.key));
    }

private:
    static std::string flags(bool shift, bool ctrl)
    {
        return std::string(shift ? "S" : "") + (ctrl ? "C" : "");
    }
    static std::string at(const QPointF& p)
    {
        return "@" + std::to_string(int(p.x())) + "," + std::to_string(int(p.y()));
    }
    bool record(std::string s)
    {
        context().seen->push_back(std::move(s));
        return context().consume;
    }
};

TEST(EditorFsmTranslation, QtEventsBecomeMachineEvents)
{
    struct Case
    {
        QEvent::Type type;
        Qt::MouseButton button;
        Qt::KeyboardModifiers modifiers;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {QEvent::MouseMove, Qt::NoButton, Qt::NoModifier, {"m0@7,8"}},
        {QEvent::MouseButtonPress, Qt::LeftButton, Qt::ShiftModifier, {"m1S@7,8"}},
        {QEvent::MouseButtonRelease, Qt::LeftButton, Qt::ControlModifier, {"m2C@7,8"}},
        {QEvent::MouseButtonPress, Qt::RightButton, Qt::NoModifier, {"m3@7,8"}},
        {QEvent::MouseButtonRelease, Qt::RightButton, Qt::NoModifier, {"m4@7,8"}},
        {QEvent::MouseButtonPress, Qt::MiddleButton, Qt::NoModifier, {"m5@7,8"}},
        {QEvent::MouseButtonRelease, Qt::MiddleButton, Qt::NoModifier, {"m6@7,8"}},
        {QEvent::MouseButtonPress, Qt::BackButton, Qt::NoModifier, {}},
        // The second click of a double click is a new press as well.
        {QEvent::MouseButtonDblClick,
         Qt::LeftButton,
         Qt::ShiftModifier | Qt::ControlModifier,
         {"dblSC@7,8", "m1SC@7,8"}},
        {QEvent::MouseButtonDblClick, Qt::RightButton, Qt::NoModifier, {"m3@7,8"}},
        {QEvent::MouseButtonDblClick, Qt::MiddleButton, Qt::NoModifier, {"m5@7,8"}},
    };
    const QPointF surfacePos(7, 8);  // mapped by the owner; the widget position is other
    for (bool consume : {false, true})
    {
        for (const Case& c : cases)
        {
            std::vector<std::string> seen;
            EditorFsm::Fsm<RecCtx, Recorder> fsm(RecCtx{&seen, consume});
            const QMouseEvent event(c.type, QPointF(100, 200), c.button, c.button, c.modifiers);
            const bool consumed = EditorFsm::sendMouse(fsm, event, surfacePos);
            EXPECT_EQ(seen, c.expected) << "event " << c.type << " button " << c.button;
            EXPECT_EQ(consumed, consume && !c.expected.empty());
        }
    }

    std::vector<std::string> seen;
    EditorFsm::Fsm<RecCtx, Recorder> fsm(RecCtx{&seen, true});
    const QWheelEvent wheel(QPointF(1, 1), QPointF(1, 1), QPoint(), QPoint(0, -240), Qt::NoButton,
                            Qt::NoModifier, Qt::NoScrollPhase, false);
    EXPECT_TRUE(EditorFsm::sendWheel(fsm, wheel, QPointF(2, 3)));
    EditorFsm::sendKey(fsm, QKeyEvent(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier));
    EditorFsm::sendKey(fsm, QKeyEvent(QEvent::KeyRelease, Qt::Key_Delete, Qt::NoModifier));
    EXPECT_EQ(seen, (std::vector<std::string>{"w-240@2,3", "k1:" + std::to_string(Qt::Key_Delete),
                                              "k0:" + std::to_string(Qt::Key_Delete)}));
}

}  // namespace
