// The values of a reflected emitter's guide: twins of the source's values, of the same kinds,
// naming the blocks of their own emitter, with the source's form values as their base.
#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <typeinfo>
#include <vector>

#include <boost/optional/optional_io.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

using namespace Plm;
using Eg::Value;
using Type = Eg::Value::Type;
using Bytes = std::vector<uint8_t>;
using Uuid = boost::uuids::uuid;

// A source emitter, a copy of it loaded from its file (the same block ids and reflection ids,
// so that each source block maps to the copy's block of the same id) and the twin guide on the
// copy. The copy's own guide from the file is left alone.
struct Reflection
{
    System system;
    Emitter& source = system.addEmitter(Emitter::create("s"));
    std::unique_ptr<Emitter> copy;
    std::unique_ptr<EmitterGuide> twin;

    Reflection()
    {
        const Bytes bytes = saveEmitterPlain(source);
        copy = loadEmitterPlain(bytes.data(), bytes.size(), system);
        twin = std::make_unique<EmitterGuide>(*copy, Eg::Base::EmptyReflectionTag());
    }
    EmitterGuide& src() const { return *source.guide(); }
    // Brings the copy's blocks and links to the source's, identities included, as the
    // emitter's own synchronisation does: blocks gone or changed in the source leave, and the
    // source's come back in their present state.
    void mirror()
    {
        std::vector<Uuid> gone;
        for (const Uuid& id : copy->blockList(Emitter::BL_All))
        {
            const Block* from = source.findBlockById(id);
            if (!from || from->getRevision() != copy->getBlockById(id).getRevision())
                gone.push_back(id);
        }
        // A removed parameter takes its updaters along.
        for (const Uuid& id : gone)
            if (copy->findBlockById(id))
                copy->removeBlock(id);
        for (const Uuid& id : source.blockList(Emitter::BL_All))
            if (!copy->findBlockById(id))
            {
                const Bytes bytes = saveBlockPlain(source.getBlockById(id));
                copy->addBlock(loadBlockPlain(bytes.data(), bytes.size()));
            }
        for (unsigned int i = 0; i < source.getNumLinks(); ++i)
            copy->createLink(source.getLink(i));
    }
    // A sync never makes or removes a block.
    void sync()
    {
        const size_t blocks = copy->blockList(Emitter::BL_All).size();
        const unsigned int links = copy->getNumLinks();
        twin->syncReflection(src());
        EXPECT_EQ(copy->blockList(Emitter::BL_All).size(), blocks);
        EXPECT_EQ(copy->getNumLinks(), links);
    }
};

Bytes saveBytes(const Eg::Base& object)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_Off);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        object.save(saver);
    }
    return flex.dataAsVector();
}

// The blocks of `e` whose ids the saved object names.
std::set<Uuid> namedBlocks(const Eg::Base& object, const Emitter& e)
{
    const Bytes bytes = saveBytes(object);
    std::set<Uuid> named;
    for (const Uuid& id : e.blockList(Emitter::BL_All))
        if (std::search(bytes.begin(), bytes.end(), id.begin(), id.end()) != bytes.end())
            named.insert(id);
    return named;
}

Value& alpha(const EmitterGuide& g) { return g.transparency().value().rowValue(0); }
Value& color(const EmitterGuide& g) { return g.color().value().rowValue(0); }
template <class K>
K& kind(const Value& value)
{
    return dynamic_cast<K&>(value.impl());
}
// The value that gives a point kind's radius.
Value& radius(const EmitterGuide& g)
{
    const Value::ValuesBase& point = color(g).impl();
    if (const auto* sphere = dynamic_cast<const Eg::Sphere*>(&point))
        return sphere->propsRadius().rowValue(0);
    return dynamic_cast<const Eg::ValueCircle&>(point).propsRadius().rowValue(0);
}

// One float of a kind's form: its edit, its value and its base (the source layer).
struct Probe
{
    std::function<void(Value&, float)> edit;
    std::function<float(const Value&)> get;
    std::function<float(const Value&)> base;
};

const Probe fixedProp{[](Value& v, float x) { kind<Value::FixedProp>(v).changeValue(0, x); },
                      [](const Value& v) { return kind<Value::FixedProp>(v).value(0); },
                      [](const Value& v)
                      { return kind<Value::FixedProp>(v).valueRefl().source()[0]; }};
const Probe fixed{[](Value& v, float x) { kind<Value::Fixed>(v).changeValue(0, x); },
                  [](const Value& v) { return kind<Value::Fixed>(v).value(0); },
                  [](const Value& v) { return kind<Value::Fixed>(v).valueRefl()[0].source(); }};
const Probe randomMax{[](Value& v, float x) { kind<Value::Random>(v).changeRandomMax(0, x); },
                      [](const Value& v) { return kind<Value::Random>(v).randomMax(0); },
                      [](const Value& v)
                      { return kind<Value::Random>(v).randomMaxRefl(0).source(); }};
const Probe property{[](Value& v, float x) { kind<Value::EmitterProperty>(v).changeValue(0, x); },
                     [](const Value& v) { return kind<Value::EmitterProperty>(v).value(0); },
                     [](const Value& v)
                     { return kind<Value::EmitterProperty>(v).valueRefl().source()[0]; }};

struct Case
{
    std::string label;
    // Shapes the source's guide; the value under test is `find`.
    std::function<void(EmitterGuide&)> change;
    std::function<Value&(const EmitterGuide&)> find;
    boost::optional<Probe> probe = boost::none;
};

std::function<void(EmitterGuide&)> changeAlpha(Type type)
{
    return [type](EmitterGuide& g) { ASSERT_TRUE(alpha(g).changeType(type)); };
}
std::function<void(EmitterGuide&)> changeColor(Type type)
{
    return [type](EmitterGuide& g) { ASSERT_TRUE(color(g).changeType(type)); };
}

std::vector<Case> cases()
{
    std::vector<Case> cases = {
        {"alpha fixed in its property", [](EmitterGuide&) {}, alpha, fixedProp},
        {"alpha random", changeAlpha(Type::Random), alpha, randomMax},
        {"alpha emitter property", changeAlpha(Type::EmitterProperty), alpha, property},
        {"colour random of three", changeColor(Type::Random), color, randomMax},
        // A second row: both rows are fixed values of their own blocks, under an expression.
        {"alpha second row", [](EmitterGuide& g) { g.transparency().value().addRow(1); },
         [](const EmitterGuide& g) -> Value& { return g.transparency().value().rowValue(1); },
         fixed},
        {"alpha graph shifted",
         [](EmitterGuide& g)
         {
             ASSERT_TRUE(alpha(g).changeType(Type::Graph));
             kind<Value::GraphBase>(alpha(g)).enableShift(true);
         },
         [](const EmitterGuide& g) -> Value& { return *kind<Value::GraphBase>(alpha(g)).shift(); },
         randomMax},
        {"colour sphere radius", changeColor(Type::Sphere), radius, fixedProp},
        {"colour circle radius", changeColor(Type::Circle), radius, fixedProp},
        {"colour point from path", changeColor(Type::PointFromPath),
         [](const EmitterGuide& g) -> Value&
         { return kind<Eg::PointFromPath>(color(g)).distrib().rowValue(0); },
         randomMax},
        {"alpha of a custom value",
         [](EmitterGuide& g)
         {
             const Uuid id = g.customValues().addValue().id();
             ASSERT_TRUE(alpha(g).changeToCustomValueType(id));
         },
         alpha},
        {"alpha over a custom value",
         [](EmitterGuide& g)
         {
             const Uuid id = g.customValues().addValue().id();
             ASSERT_TRUE(alpha(g).changeToOverCustomValueType(id));
         },
         alpha},
    };
    for (Type type : {Type::Graph, Type::OverParticleLife, Type::OverParticleTime,
                      Type::OverParticleSpeed, Type::OverEmitterTime, Type::OverSystemTime})
        cases.push_back({std::string("alpha ") + Value::typeName(type), changeAlpha(type), alpha});
    for (Type type :
         {Type::Area, Type::PointBetweenPaths, Type::ParticlePosition, Type::EmitterPosition})
        cases.push_back({std::string("colour ") + Value::typeName(type), changeColor(type), color});
    return cases;
}

// The twin's value holds what the source's holds: kind, validity, identity of the kind, form
// values; and it names the blocks that the source's names, here those of the copy.
void expectTwin(const Value& twin, const Value& source, const Emitter& sourceEmitter)
{
    EXPECT_EQ(twin.type(), source.type());
    EXPECT_EQ(typeid(twin.impl()), typeid(source.impl()));
    EXPECT_EQ(twin.dimensions(), source.dimensions());
    EXPECT_EQ(twin.impl().dimensions(), source.impl().dimensions());
    EXPECT_EQ(twin.implId(), source.implId());
    EXPECT_EQ(twin.isValid(), source.isValid());
    EXPECT_EQ(twin.isStoredOnInit(), source.isStoredOnInit());
    EXPECT_EQ(twin.paramId(), source.paramId());
    EXPECT_EQ(twin.customValueId(), source.customValueId());
    EXPECT_EQ(namedBlocks(twin, sourceEmitter), namedBlocks(source, sourceEmitter));
    if (const auto* graph = dynamic_cast<const Value::GraphBase*>(&source.impl()))
    {
        const auto& twinGraph = dynamic_cast<const Value::GraphBase&>(twin.impl());
        ASSERT_EQ(twinGraph.plots().size(), graph->plots().size());
        for (size_t i = 0; i < graph->plots().size(); ++i)
            EXPECT_TRUE(twinGraph.plots()[i].get() == graph->plots()[i].get());
        EXPECT_EQ(twinGraph.shift() != nullptr, graph->shift() != nullptr);
    }
    if (const auto* area = dynamic_cast<const Eg::Area*>(&source.impl()))
    {
        EXPECT_TRUE(kind<Eg::Area>(twin).areaRefl().get() == area->areaRefl().get());
    }
    if (const auto* paths = dynamic_cast<const Eg::PointBetweenPaths*>(&source.impl()))
    {
        const auto& twinPaths = kind<Eg::PointBetweenPaths>(twin);
        EXPECT_TRUE(twinPaths.path0Refl().get() == paths->path0Refl().get());
        EXPECT_TRUE(twinPaths.path1Refl().get() == paths->path1Refl().get());
    }
}

TEST(GuideValueReflection, EachKindIsTwinnedWithTheBlocksOfItsEmitter)
{
    for (const Case& c : cases())
    {
        SCOPED_TRACE(c.label);
        Reflection r;
        r.sync();
        ASSERT_EQ(alpha(*r.twin).type(), alpha(r.src()).type());
        c.change(r.src());
        const Value& source = c.find(r.src());
        ASSERT_TRUE(source.isValid());
        const std::set<Uuid> named = namedBlocks(source, r.source);

        // The copy lacks the blocks of the new kind: the twin has the kind, and no id for them.
        r.sync();
        const Value& early = c.find(*r.twin);
        EXPECT_EQ(typeid(early.impl()), typeid(source.impl()));
        for (const Uuid& id : namedBlocks(early, r.source))
            EXPECT_TRUE(r.copy->findBlockById(id)) << "a block the copy doesn't have";

        // Once the copy holds them, it names them; the kind object stays.
        r.mirror();
        const Value::ValuesBase* impl = &early.impl();
        r.sync();
        const Value& twin = c.find(*r.twin);
        EXPECT_EQ(&twin.impl(), impl);
        expectTwin(twin, source, r.source);
        const bool blockless = source.type() == Type::CustomValue ||
                               source.type() == Type::ParticlePosition ||
                               dynamic_cast<const Value::FixedProp*>(&source.impl());
        EXPECT_EQ(named.empty(), blockless) << "the blocks of the kind are named";

        // What the twin names is its emitter's graph of the source's shape.
        r.twin->updateFromEmitter();
        EXPECT_TRUE(twin.isValid());
    }
}

TEST(GuideValueReflection, TheSourceMovesTheBaseAndEditsMadeOnTheTwinStay)
{
    for (const Case& c : cases())
    {
        if (!c.probe)
            continue;
        SCOPED_TRACE(c.label);
        const Probe& p = *c.probe;
        Reflection r;
        c.change(r.src());
        r.mirror();
        r.sync();
        Value& source = c.find(r.src());

        // Untouched here, the twin follows the source.
        p.edit(source, 0.5f);
        r.sync();
        EXPECT_EQ(p.get(c.find(*r.twin)), 0.5f);

        // An edit here lands in this emitter's block only, and outlives the source's next move.
        p.edit(c.find(*r.twin), 0.25f);
        EXPECT_EQ(p.get(source), 0.5f);
        p.edit(source, 0.75f);
        r.sync();
        const Value& twin = c.find(*r.twin);
        EXPECT_EQ(p.get(twin), 0.25f);
        EXPECT_EQ(p.base(twin), 0.75f);
        r.twin->updateFromEmitter();
        EXPECT_EQ(p.get(c.find(*r.twin)), 0.25f);
    }
}

TEST(GuideValueReflection, KindsAreReplacedWhenTheSourceChangesThem)
{
    Reflection r;
    r.sync();
    // Each step changes the kind in the source; the twin replaces its kind object to match.
    for (Type type : {Type::Random, Type::Graph, Type::OverEmitterTime, Type::Graph, Type::Fixed,
                      Type::EmitterProperty, Type::Fixed})
    {
        SCOPED_TRACE(Value::typeName(type));
        ASSERT_TRUE(alpha(r.src()).changeType(type));
        r.mirror();
        r.sync();
        expectTwin(alpha(*r.twin), alpha(r.src()), r.source);
        r.twin->updateFromEmitter();
        EXPECT_TRUE(alpha(*r.twin).isValid());
    }
    // A shift that goes in the source goes in the twin.
    ASSERT_TRUE(alpha(r.src()).changeType(Type::Graph));
    kind<Value::GraphBase>(alpha(r.src())).enableShift(true);
    r.mirror();
    r.sync();
    ASSERT_NE(kind<Value::GraphBase>(alpha(*r.twin)).shift(), nullptr);
    kind<Value::GraphBase>(alpha(r.src())).enableShift(false);
    r.mirror();
    r.sync();
    EXPECT_EQ(kind<Value::GraphBase>(alpha(*r.twin)).shift(), nullptr);
    expectTwin(alpha(*r.twin), alpha(r.src()), r.source);
}

TEST(GuideValueReflection, RowsAndCustomValuesFollowBySourcePosition)
{
    Reflection r;
    Eg::CustomValues& list = r.src().customValues();
    list.addValue();
    list.addValue().setName("Speed");
    list.value(1).changeDimensions(2);
    Eg::MultiValue& rows = r.src().transparency().value();
    rows.addRow(2);
    rows.addRow(1);
    rows.changeExpression("a * length(b) * c");
    r.mirror();
    r.sync();

    const Eg::CustomValues& twinList = r.twin->customValues();
    const auto expectSame = [&]
    {
        ASSERT_EQ(twinList.numValues(), list.numValues());
        for (unsigned int i = 0; i < list.numValues(); ++i)
        {
            const Eg::CustomValue& a = twinList.value(i);
            const Eg::CustomValue& b = list.value(i);
            EXPECT_EQ(a.id(), b.id());
            EXPECT_EQ(a.name(), b.name());
            EXPECT_EQ(a.dimensions(), b.dimensions());
            EXPECT_EQ(a.isValid(), b.isValid());
            expectTwin(a.value().rowValue(0), b.value().rowValue(0), r.source);
            // The stored property keeps the custom value's name.
            EXPECT_EQ(a.value().rowValue(0).optionalData().storeOnInit_->name, b.name());
        }
        const Eg::MultiValue& twinRows = r.twin->transparency().value();
        ASSERT_EQ(twinRows.numRows(), rows.numRows());
        EXPECT_EQ(twinRows.isExprEnabled(), rows.isExprEnabled());
        EXPECT_EQ(twinRows.expression(), rows.expression());
        EXPECT_EQ(twinRows.expressionBlockId(), rows.expressionBlockId());
        EXPECT_EQ(twinRows.isValid(), rows.isValid());
        for (unsigned int i = 0; i < rows.numRows(); ++i)
        {
            EXPECT_EQ(twinRows.rowId(i), rows.rowId(i));
            EXPECT_EQ(twinRows.rowLabel(i), rows.rowLabel(i));
            EXPECT_EQ(twinRows.rowDimensions(i), rows.rowDimensions(i));
            expectTwin(twinRows.rowValue(i), rows.rowValue(i), r.source);
        }
    };
    expectSame();

    // The source removes, renames and moves back to one row; the twin follows by position.
    list.removeValue(0);
    list.value(0).setName("Size");
    rows.removeRow(1);
    rows.removeRow(1);
    rows.enableExpr(false);
    r.mirror();
    r.sync();
    expectSame();
    EXPECT_FALSE(r.twin->transparency().value().expressionBlockId());
    r.twin->updateFromEmitter();
    EXPECT_TRUE(r.twin->customValues().value(0).isValid());
    EXPECT_TRUE(r.twin->transparency().value().isValid());
}

}  // namespace
