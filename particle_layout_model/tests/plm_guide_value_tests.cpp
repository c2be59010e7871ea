// The guide's values: which kinds a value offers, that every kind builds, recognises and
// removes its own blocks, the rows and expression of a MultiValue, custom values as sources,
// and the files of values.
#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <boost/optional/optional_io.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_func_distrib.h"
#include "particle_layout_model/plm_block_func_random.h"
#include "particle_layout_model/plm_block_glob_param_typed.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace
{

using namespace Plm;
using Eg::Value;
using Type = Eg::Value::Type;
using Bytes = std::vector<uint8_t>;
using Uuid = boost::uuids::uuid;

EnumConnectorType connectorTypeOf(unsigned int dimensions)
{
    return static_cast<EnumConnectorType>(dimensions - 1);
}

struct NewGuide
{
    System system;
    Emitter& e = system.addEmitter(Emitter::create("e"));
    EmitterGuide& g = *e.guide();

    std::vector<Eg::Value*> values() const
    {
        std::vector<Eg::Value*> values;
        g.collectValues(values);
        return values;
    }
    // The number of blocks and of links: what a kind must give back when it goes.
    std::pair<size_t, unsigned int> shape() const
    {
        return {e.blockList(Emitter::BL_All).size(), e.getNumLinks()};
    }
    std::vector<std::string> invalidSections() const
    {
        std::vector<std::string> names;
        const std::vector<Eg::Base*> sections = g.sections();
        for (size_t i = 0; i < sections.size(); ++i)
            if (!sections[i]->isValid())
                names.push_back(std::to_string(i));
        return names;
    }
};

template <class T>
Bytes saveBytes(const T& object)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        object.save(saver);
    }
    return flex.dataAsVector();
}

template <class F>
Bytes writeBytes(F write)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        write(saver);
    }
    return flex.dataAsVector();
}

template <class F>
void readFrom(const Bytes& bytes, F read)
{
    Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, array);
    read(loader);
}

std::unique_ptr<Value> loadValue(const Eg::ValueBuilder& builder, const Bytes& bytes)
{
    std::unique_ptr<Value> value;
    readFrom(bytes, [&](Sl::RevisionLoader& loader) { value = builder.buildForLoad(loader); });
    return value;
}

const char* name(Type type) { return Value::typeName(type); }

TEST(GuideValueTypes, AvailabilityFollowsLevelDimensionsAndTheGuide)
{
    NewGuide t;
    struct Case
    {
        Eg::ValueLevel level;
        unsigned int dimensions;
        Type type;
        bool available;
    };
    const Case cases[] = {
        // The generation level has no particle to draw a random number for.
        {1, 1, Type::Fixed, true},
        {1, 1, Type::Random, false},
        {1, 1, Type::Graph, false},
        {1, 1, Type::OverEmitterTime, true},
        {1, 1, Type::OverSystemTime, true},
        {1, 1, Type::EmitterProperty, true},
        {1, 3, Type::PointFromPath, false},
        {1, 3, Type::Sphere, false},
        {1, 3, Type::Circle, false},
        {1, 3, Type::Area, false},
        {1, 3, Type::PointBetweenPaths, false},
        {1, 3, Type::EmitterPosition, true},
        {2, 1, Type::Random, true},
        {2, 1, Type::Graph, true},
        {2, 3, Type::Sphere, true},
        // Points have three dimensions only.
        {2, 1, Type::Sphere, false},
        {2, 2, Type::Area, false},
        {10, 2, Type::EmitterPosition, false},
        // The minimal level must be exceeded, not reached.
        {4, 3, Type::ParticlePosition, false},
        {5, 3, Type::ParticlePosition, true},
        {6, 1, Type::OverParticleLife, false},
        {6, 1, Type::OverParticleTime, false},
        {6, 1, Type::OverParticleSpeed, false},
        {7, 1, Type::OverParticleLife, true},
        {7, 1, Type::OverParticleTime, true},
        {7, 1, Type::OverParticleSpeed, true},
        // Reached only through a custom value.
        {10, 1, Type::CustomValue, false},
        {10, 1, Type::OverCustomValue, false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(name(c.type)) + " at level " + std::to_string(c.level) + " with " +
                     std::to_string(c.dimensions) + " dimensions");
        const Eg::ValueBuilder builder(t.g, c.level, Type::Fixed);
        const std::unique_ptr<Value> value = builder.build(c.dimensions, Type::Fixed, false);
        EXPECT_EQ(value->isTypeAvailable(c.type), c.available);
        const std::vector<Type> all = value->getAllAvailableTypes();
        EXPECT_EQ(std::count(all.begin(), all.end(), c.type), c.available ? 1 : 0);
        EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
        EXPECT_FALSE(value->changeType(Type::Fixed)) << "the present type";
        if (!c.available)
        {
            EXPECT_FALSE(value->changeType(c.type));
            EXPECT_EQ(value->type(), Type::Fixed);
        }
    }
}

TEST(GuideValueTypes, ParticleTypesFollowTheTerminatorsAndTheMovement)
{
    NewGuide t;
    const Eg::ValueBuilder builder(t.g, 7, Type::Fixed);
    const std::unique_ptr<Value> value = builder.build(1, Type::Fixed, false);
    ASSERT_TRUE(value->isTypeAvailable(Type::OverParticleLife));
    t.g.termination().removeTerminator(0);
    EXPECT_FALSE(value->isTypeAvailable(Type::OverParticleLife));
    t.g.termination().addTerminator(Eg::TerminationType::MaxLife);
    EXPECT_TRUE(value->isTypeAvailable(Type::OverParticleLife));

    ASSERT_TRUE(value->isTypeAvailable(Type::OverParticleSpeed));
    ASSERT_TRUE(t.g.positionChange().changeType(Eg::PositionChange::T_None));
    EXPECT_FALSE(value->isTypeAvailable(Type::OverParticleSpeed));
}

TEST(GuideValueTypes, ShiftRaisesTheCurrentLevel)
{
    NewGuide t;
    Eg::ValueBuilder builder(t.g, 3, Type::Graph);
    builder.shiftLevel(7);
    const std::unique_ptr<Value> value = builder.build(1, Type::Graph, false);
    auto& graph = dynamic_cast<Value::GraphBase&>(value->impl());
    ASSERT_TRUE(graph.isShiftPossible());
    EXPECT_EQ(value->currentLevel(), 3);
    EXPECT_EQ(value->getFixedStoredOnInitByModelAndType(), boost::make_optional(false));
    graph.enableShift(true);
    ASSERT_NE(graph.shift(), nullptr);
    EXPECT_EQ(graph.shift()->level(), 7);
    EXPECT_EQ(value->level(), 3);
    EXPECT_EQ(value->currentLevel(), 7);
    // Treated as level 7: a random curve there must be stored.
    EXPECT_EQ(value->getFixedStoredOnInitByModelAndType(), boost::make_optional(true));
    graph.enableShift(false);
    EXPECT_EQ(value->currentLevel(), 3);

    // Below level 3, or when the builder says so, there is no shift.
    const Eg::ValueBuilder low(t.g, 2, Type::Graph);
    const std::unique_ptr<Value> lowValue = low.build(1, Type::Graph, false);
    EXPECT_FALSE(dynamic_cast<Value::GraphBase&>(lowValue->impl()).isShiftPossible());
    Eg::ValueBuilder disabled(t.g, 8, Type::Graph);
    disabled.disableShift();
    const std::unique_ptr<Value> disabledValue = disabled.build(1, Type::Graph, false);
    auto& disabledGraph = dynamic_cast<Value::GraphBase&>(disabledValue->impl());
    EXPECT_FALSE(disabledGraph.isShiftPossible());
    disabledGraph.enableShift(true);
    EXPECT_EQ(disabledGraph.shift(), nullptr);
}

TEST(GuideValueKinds, EveryKindOfTheNewGuideBuildsValidAndLeavesNothingBehind)
{
    NewGuide t;
    ASSERT_TRUE(t.invalidSections().empty());
    std::set<Type> reached;
    const size_t numValues = t.values().size();
    ASSERT_GT(numValues, 5u);
    for (size_t i = 0; i < numValues; ++i)
    {
        // Nested values come and go with their kinds: look the value up afresh each time.
        const std::vector<Type> types = t.values()[i]->getAllAvailableTypes();
        for (Type type : types)
        {
            Value& value = *t.values()[i];
            const Type original = value.type();
            if (type == original)
                continue;
            SCOPED_TRACE("value " + std::to_string(i) + " of level " +
                         std::to_string(value.level()) + ": " + name(original) + " to " +
                         name(type));
            const auto before = t.shape();
            ASSERT_TRUE(value.changeType(type));
            t.g.updateFromEmitter();
            EXPECT_EQ(value.type(), type);
            EXPECT_TRUE(value.isValid());
            EXPECT_TRUE(t.invalidSections().empty());
            reached.insert(type);

            // The file of the value reads back to the same bytes.
            const Bytes bytes = saveBytes(value);
            EXPECT_EQ(saveBytes(*loadValue(value.builder(), bytes)), bytes);

            ASSERT_TRUE(value.changeType(original));
            t.g.updateFromEmitter();
            EXPECT_TRUE(value.isValid());
            EXPECT_TRUE(t.invalidSections().empty());
            EXPECT_EQ(t.shape(), before);
        }
    }
    // All kinds but the two that need a custom value.
    EXPECT_EQ(reached.size() + 2, Value::kNumTypes);
}

// The kinds that can be set on the transparency (one dimension, level 10) and on the colour
// (three dimensions, level 7), and a way to reach each value in a new guide.
struct KindCase
{
    const char* value;
    std::function<Value&(EmitterGuide&)> find;
    Type type;
};

std::vector<KindCase> kindCases()
{
    const auto alpha = [](EmitterGuide& g) -> Value&
    { return g.transparency().value().rowValue(0); };
    const auto color = [](EmitterGuide& g) -> Value& { return g.color().value().rowValue(0); };
    std::vector<KindCase> cases;
    for (Type type : {Type::Random, Type::Graph, Type::OverParticleLife, Type::OverParticleTime,
                      Type::OverParticleSpeed, Type::OverEmitterTime, Type::OverSystemTime,
                      Type::EmitterProperty})
        cases.push_back({"alpha", alpha, type});
    for (Type type : {Type::Random, Type::PointFromPath, Type::Sphere, Type::Circle, Type::Area,
                      Type::PointBetweenPaths, Type::ParticlePosition, Type::EmitterPosition})
        cases.push_back({"color", color, type});
    return cases;
}

std::set<Uuid> blockIds(const Emitter& e)
{
    const std::vector<Uuid>& ids = e.blockList(Emitter::BL_All);
    return std::set<Uuid>(ids.begin(), ids.end());
}

std::vector<BlockLink> linksOf(const Emitter& e)
{
    std::vector<BlockLink> links;
    for (unsigned int i = 0; i < e.getNumLinks(); ++i)
        links.push_back(e.getLink(i));
    return links;
}

TEST(GuideValueKinds, EachKindGivesUpWhenOneOfItsBlocksOrLinksGoes)
{
    for (const KindCase& c : kindCases())
    {
        SCOPED_TRACE(std::string(c.value) + " as " + name(c.type));
        // What the kind adds to a new guide.
        std::set<Uuid> ownBlocks;
        std::vector<BlockLink> ownLinks;
        {
            NewGuide t;
            const std::set<Uuid> blocks = blockIds(t.e);
            const std::vector<BlockLink> links = linksOf(t.e);
            ASSERT_TRUE(c.find(t.g).changeType(c.type));
            for (const Uuid& id : blockIds(t.e))
                if (!blocks.count(id))
                    ownBlocks.insert(id);
            for (const BlockLink& link : linksOf(t.e))
                if (std::find(links.begin(), links.end(), link) == links.end())
                    ownLinks.push_back(link);
        }
        EXPECT_FALSE(ownLinks.empty()) << "every kind feeds the colour or the transparency";
        const auto breakOne =
            [&](const std::function<void(NewGuide&, size_t)>& cut, size_t count, const char* what)
        {
            for (size_t i = 0; i < count; ++i)
            {
                SCOPED_TRACE(std::string(what) + " " + std::to_string(i));
                NewGuide t;
                Value& value = c.find(t.g);
                ASSERT_TRUE(value.changeType(c.type));
                t.g.updateFromEmitter();
                ASSERT_TRUE(value.isValid());
                cut(t, i);
                t.g.updateFromEmitter();
                EXPECT_FALSE(value.isValid());
                // An update doesn't repair: the blocks stay as the scheme left them.
                const auto shape = t.shape();
                t.g.updateFromEmitter();
                EXPECT_EQ(t.shape(), shape);
            }
        };
        // Ids differ per guide: cut the i-th new block or link of a fresh guide, found anew.
        breakOne(
            [&](NewGuide& t, size_t i)
            {
                std::set<Uuid> before = blockIds(t.e);
                Value& value = c.find(t.g);
                ASSERT_TRUE(value.changeType(Type::Fixed));
                before = blockIds(t.e);
                ASSERT_TRUE(value.changeType(c.type));
                std::vector<Uuid> added;
                for (const Uuid& id : blockIds(t.e))
                    if (!before.count(id))
                        added.push_back(id);
                ASSERT_LT(i, added.size());
                t.e.removeBlock(added[i]);
            },
            ownBlocks.size(), "block");
        breakOne(
            [&](NewGuide& t, size_t i)
            {
                Value& value = c.find(t.g);
                ASSERT_TRUE(value.changeType(Type::Fixed));
                const std::vector<BlockLink> before = linksOf(t.e);
                ASSERT_TRUE(value.changeType(c.type));
                std::vector<BlockLink> added;
                for (const BlockLink& link : linksOf(t.e))
                    if (std::find(before.begin(), before.end(), link) == before.end())
                        added.push_back(link);
                ASSERT_LT(i, added.size());
                t.e.clearNonReflectedConnector(added[i].input_);
            },
            ownLinks.size(), "link");
    }
}

TEST(GuideValueKinds, FormValuesFollowTheBlocksInBothLayers)
{
    NewGuide t;
    const Eg::ValueBuilder builder(t.g, 3, Type::Random);
    const std::unique_ptr<Value> value = builder.build(2, Type::Random, false);
    auto& random = dynamic_cast<Value::Random&>(value->impl());
    auto& block = dynamic_cast<BlockFuncRandom&>(t.e.getBlockById(random.randomBlockIds()[1]));
    EXPECT_EQ(random.randomMax(1), 1.0f);

    // An edit in the scheme reaches the form as an override.
    block.setEnd(4.0f);
    value->updateFromEmitter();
    EXPECT_EQ(random.randomMax(1), 4.0f);
    EXPECT_TRUE(random.randomMaxRefl(1).isOverridden());
    // An edit in the form lands in the block.
    EXPECT_TRUE(random.changeRandomMin(1, -2.0f));
    EXPECT_EQ(block.getStart(), -2.0f);
    EXPECT_FALSE(random.changeRandomMin(1, -2.0f));
    random.discardRandomMaxRefl(1);
    EXPECT_FALSE(random.randomMaxRefl(1).isOverridden());
    EXPECT_EQ(block.getEnd(), block.endProp().getDefault());
    EXPECT_EQ(random.randomMax(1), block.endProp().getDefault());

    ASSERT_TRUE(value->changeType(Type::EmitterProperty));
    auto& property = dynamic_cast<Value::EmitterProperty&>(value->impl());
    auto& param = dynamic_cast<BlockGlobParamVec2&>(t.e.getBlockById(property.blockId()));
    EXPECT_EQ(property.name(), "NewProperty");
    property.changeName("Wind");
    EXPECT_EQ(param.getName(), "Wind");
    EXPECT_TRUE(property.changeValue(1, 3.0f));
    EXPECT_EQ(param.getValue(), glm::vec2(0.0f, 3.0f));
    param.setValue(glm::vec2(5.0f, 6.0f));
    value->updateFromEmitter();
    EXPECT_TRUE(value->isValid());
    EXPECT_EQ(property.value(0), 5.0f);
    property.discardValueRefl();
    EXPECT_FALSE(property.valueRefl().isOverridden());
    EXPECT_EQ(param.getValue(), glm::vec2(0.0f, 0.0f));

    ASSERT_TRUE(value->changeType(Type::Fixed));
    auto& fixed = dynamic_cast<Value::Fixed&>(value->impl());
    EXPECT_TRUE(fixed.changeValue(1, 7.0f));
    auto& distrib = dynamic_cast<BlockFuncDistribVec2&>(t.e.getBlockById(fixed.blockId()));
    EXPECT_EQ(distrib.getValue(1), 7.0f);
    distrib.setValue(0, 8.0f);
    value->updateFromEmitter();
    EXPECT_EQ(fixed.value(0), 8.0f);
    EXPECT_TRUE(fixed.valueRefl().isOverridden());
    fixed.discardValueRefl();
    EXPECT_FALSE(fixed.valueRefl().isOverridden());
    EXPECT_EQ(distrib.getValue(0), 0.0f);
    // A component made external in the scheme changes the block's shape.
    distrib.setValueExternal(0, true);
    value->updateFromEmitter();
    EXPECT_FALSE(value->isValid());
}

TEST(GuideValueKinds, DimensionsChangeTheBlocksAndComeBackToTheSameGraph)
{
    for (Type type : {Type::Fixed, Type::Random, Type::Graph, Type::OverEmitterTime,
                      Type::OverSystemTime, Type::EmitterProperty})
        for (bool shift : {false, true})
        {
            if (shift && type != Type::Graph)
                continue;
            SCOPED_TRACE(std::string(name(type)) + (shift ? " with a shift" : ""));
            NewGuide t;
            const Eg::ValueBuilder builder(t.g, 3, type);
            const std::unique_ptr<Value> value = builder.build(1, type, false);
            if (shift)
                dynamic_cast<Value::GraphBase&>(value->impl()).enableShift(true);
            value->fixLinks();
            const auto shape = t.shape();
            for (unsigned int dimensions : {3u, 2u, 1u})
            {
                value->changeDimensions(dimensions);
                value->fixLinks();
                value->updateFromEmitter();
                EXPECT_TRUE(value->isValid());
                EXPECT_EQ(value->impl().dimensions(), dimensions);
                ASSERT_TRUE(value->getOutputConnector());
                EXPECT_EQ(static_cast<unsigned int>(value->getOutputConnector()->desc_.type_) + 1,
                          dimensions);
            }
            EXPECT_EQ(t.shape(), shape);
        }
}

TEST(GuideValueStore, ForcedStoringFollowsLevelAndType)
{
    NewGuide t;
    struct Case
    {
        Eg::ValueLevel level;
        Type type;
        unsigned int dimensions;
        boost::optional<bool> forced;
    };
    const Case cases[] = {
        {1, Type::Fixed, 1, false},
        {1, Type::OverEmitterTime, 1, false},
        {4, Type::Random, 1, false},
        {6, Type::OverEmitterTime, 1, false},
        {7, Type::Random, 1, true},
        {7, Type::Graph, 2, true},
        {7, Type::Sphere, 3, true},
        {7, Type::Area, 3, true},
        {7, Type::OverParticleLife, 1, false},
        {7, Type::OverParticleTime, 1, false},
        {7, Type::Fixed, 1, false},
        {7, Type::OverEmitterTime, 1, boost::none},
        {10, Type::EmitterProperty, 1, boost::none},
        {10, Type::EmitterPosition, 3, boost::none},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(name(c.type)) + " at level " + std::to_string(c.level));
        Eg::ValueBuilder builder(t.g, c.level, c.type);
        builder.storeOnInit("Kept", false);
        const std::unique_ptr<Value> value = builder.build(c.dimensions, c.type, false);
        EXPECT_EQ(value->getFixedStoredOnInitByModelAndType(), c.forced);
        EXPECT_EQ(value->isStoredOnInit(), c.forced.value_or(false));
        EXPECT_EQ(static_cast<bool>(value->paramId()), c.forced.value_or(false));
        EXPECT_EQ(value->isStoredOnInitShown(), c.level >= 7);
        EXPECT_EQ(value->isStoredOnInitEnabled(), c.level >= 7 && !c.forced);
        if (value->paramId())
        {
            const auto* param = BlockParamUser::castToThis(t.e.findBlockById(*value->paramId()));
            ASSERT_NE(param, nullptr);
            EXPECT_EQ(param->getName(), "Kept");
            EXPECT_EQ(param->getConnectorType(), connectorTypeOf(c.dimensions));
            value->removeFromEmitter();
        }
    }

    // A free type stores on request; the value's output is then the parameter's.
    Eg::ValueBuilder builder(t.g, 8, Type::OverSystemTime);
    builder.storeOnInit("Kept", false);
    const std::unique_ptr<Value> value = builder.build(1, Type::OverSystemTime, false);
    const auto before = t.shape();
    value->changeStoredOnInit(true);
    ASSERT_TRUE(value->paramId());
    EXPECT_EQ(value->getOutputConnector()->blockId, *value->paramId());
    EXPECT_EQ(t.shape().first, before.first + 1);
    // The same parameter serves the next kind, until a kind that mustn't be stored.
    const Uuid param = *value->paramId();
    ASSERT_TRUE(value->changeType(Type::Random));
    EXPECT_EQ(value->paramId(), boost::make_optional(param));
    ASSERT_TRUE(value->changeType(Type::OverParticleTime));
    EXPECT_FALSE(value->paramId());
    EXPECT_FALSE(value->isStoredOnInit());
}

TEST(GuideValueKinds, RandomNeedsADistributionOnlyForSeveralDimensions)
{
    NewGuide t;
    const Eg::ValueBuilder builder(t.g, 2, Type::Random);
    const auto before = t.shape();
    const std::unique_ptr<Value> value = builder.build(1, Type::Random, false);
    const auto& random = dynamic_cast<const Value::Random&>(value->impl());
    EXPECT_FALSE(random.distribBlockId());
    EXPECT_EQ(random.randomBlockIds().size(), 1u);
    EXPECT_EQ(t.shape().first, before.first + 1);
    ASSERT_TRUE(value->getOutputConnector());
    EXPECT_EQ(value->getOutputConnector()->blockId, random.randomBlockIds()[0]);

    value->changeDimensions(3);
    const auto& random3 = dynamic_cast<const Value::Random&>(value->impl());
    ASSERT_TRUE(random3.distribBlockId());
    EXPECT_EQ(random3.randomBlockIds().size(), 3u);
    EXPECT_EQ(t.e.getBlockById(*random3.distribBlockId()).getNumConnectors(), 4u);
    EXPECT_EQ(t.shape().first, before.first + 4);
    value->fixLinks();
    value->updateFromEmitter();
    EXPECT_TRUE(value->isValid());
    EXPECT_EQ(value->getOutputConnector()->blockId, *random3.distribBlockId());

    // A removed block turns the value invalid, and nothing brings it back.
    t.e.removeBlock(random3.randomBlockIds()[1]);
    value->updateFromEmitter();
    EXPECT_FALSE(value->isValid());
    value->fixLinks();
    EXPECT_EQ(t.shape().first, before.first + 3);

    value->removeFromEmitter();
    EXPECT_EQ(t.shape(), before);
}

TEST(GuideValueKinds, FixedLivesInTheTargetPropertyAndElseInItsOwnBlock)
{
    NewGuide t;
    Eg::MultiValue& alpha = t.g.transparency().value();
    Value& row = alpha.rowValue(0);
    auto& quads = dynamic_cast<BlockConstructQuads&>(t.e.getBlockById(t.g.blockConstructId()));
    auto* prop = dynamic_cast<Value::FixedProp*>(&row.impl());
    ASSERT_NE(prop, nullptr);
    EXPECT_FALSE(quads.isAlphaExternal());
    EXPECT_TRUE(prop->changeValue(0, 0.25f));
    EXPECT_FALSE(prop->changeValue(0, 0.25f));
    EXPECT_EQ(quads.getAlpha(), 0.25f);

    // Another kind feeds the property through its connector.
    ASSERT_TRUE(row.changeType(Type::Graph));
    EXPECT_TRUE(quads.isAlphaExternal());
    ASSERT_TRUE(row.changeType(Type::Fixed));
    EXPECT_FALSE(quads.isAlphaExternal());

    // Leaving the property carries the numbers into a block of their own, and back.
    row.enablePropValue(false);
    auto* fixed = dynamic_cast<Value::Fixed*>(&row.impl());
    ASSERT_NE(fixed, nullptr);
    EXPECT_EQ(fixed->value(0), 0.25f);
    EXPECT_TRUE(fixed->changeValue(0, 0.5f));
    row.enablePropValue(true);
    ASSERT_NE(dynamic_cast<Value::FixedProp*>(&row.impl()), nullptr);
    EXPECT_EQ(quads.getAlpha(), 0.5f);
}

TEST(GuideMultiValue, SecondRowMovesTheValueIntoABlockAndAddsTheExpression)
{
    NewGuide t;
    Eg::MultiValue& alpha = t.g.transparency().value();
    auto& quads = dynamic_cast<BlockConstructQuads&>(t.e.getBlockById(t.g.blockConstructId()));
    const auto before = t.shape();
    dynamic_cast<Value::FixedProp&>(alpha.rowValue(0).impl()).changeValue(0, 0.75f);

    alpha.addRow(1);
    t.g.updateFromEmitter();
    ASSERT_EQ(alpha.numRows(), 2u);
    EXPECT_TRUE(alpha.isExprEnabled());
    EXPECT_EQ(alpha.rowLabel(1), "b");
    EXPECT_EQ(alpha.expression(), "a * b");
    EXPECT_TRUE(alpha.expressionValid());
    EXPECT_TRUE(quads.isAlphaExternal());
    EXPECT_FALSE(alpha.rowValue(0).propValueEnabled());
    EXPECT_EQ(dynamic_cast<Value::Fixed&>(alpha.rowValue(0).impl()).value(0), 0.75f);
    EXPECT_TRUE(alpha.isValid());
    EXPECT_TRUE(t.invalidSections().empty());
    ASSERT_TRUE(alpha.getOutputConnector());
    EXPECT_EQ(alpha.getOutputConnector()->blockId, *alpha.expressionBlockId());

    // The expression stays on with one row, until it is turned off.
    alpha.removeRow(1);
    t.g.updateFromEmitter();
    EXPECT_TRUE(alpha.isExprEnabled());
    EXPECT_EQ(alpha.numRows(), 1u);
    EXPECT_TRUE(alpha.isValid());

    alpha.enableExpr(false);
    t.g.updateFromEmitter();
    EXPECT_FALSE(alpha.isExprEnabled());
    EXPECT_FALSE(alpha.expressionBlockId());
    EXPECT_FALSE(quads.isAlphaExternal());
    EXPECT_EQ(quads.getAlpha(), 0.75f);
    EXPECT_TRUE(alpha.isValid());
    EXPECT_EQ(t.shape(), before);

    // An expression text that no longer gives the value's type feeds nothing into the target.
    alpha.addRow(1);
    alpha.changeExpression("vec2(a, b)");
    t.g.updateFromEmitter();
    EXPECT_EQ(alpha.expression(), "vec2(a, b)");
    EXPECT_FALSE(alpha.expressionValid());
    const boost::optional<BlockConnector> input =
        quads.findConnectorById(alpha.builder().blockProp()->connectorIndex);
    ASSERT_TRUE(input);
    EXPECT_FALSE(t.e.getLinkOnInputConnector(*input));
}

TEST(GuideMultiValue, RowsTakeTheFirstFreeLabelUpToTwentySix)
{
    NewGuide t;
    Eg::MultiValue& alpha = t.g.transparency().value();
    alpha.addRow(1);
    alpha.addRow(3);
    EXPECT_EQ(alpha.rowLabel(2), "c");
    alpha.removeRow(1);
    alpha.addRow(2);
    EXPECT_EQ(alpha.rowLabel(2), "b");
    t.g.updateFromEmitter();
    EXPECT_TRUE(alpha.isValid());

    // The expression block's inputs follow the rows: names and types.
    const auto& expr =
        dynamic_cast<const BlockFuncExpression&>(t.e.getBlockById(*alpha.expressionBlockId()));
    ASSERT_EQ(expr.getNumInputs(), 3u);
    const std::vector<std::pair<std::string, EnumConnectorType>> inputs{
        {"a", CT_Float}, {"c", CT_Vec3}, {"b", CT_Vec2}};
    for (unsigned int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(expr.getInputName(i), inputs[i].first);
        EXPECT_EQ(expr.getInputType(i), inputs[i].second);
    }
    alpha.changeRowDimensions(1, 1);
    EXPECT_EQ(expr.getInputType(1), CT_Float);

    while (alpha.numRows() < Eg::MultiValue::kMaxRows)
        alpha.addRow(1);
    alpha.addRow(1);
    EXPECT_EQ(alpha.numRows(), Eg::MultiValue::kMaxRows);
    std::set<std::string> labels;
    for (unsigned int i = 0; i < alpha.numRows(); ++i)
        labels.insert(alpha.rowLabel(i));
    EXPECT_EQ(labels.size(), Eg::MultiValue::kMaxRows);
    EXPECT_EQ(*labels.begin(), "a");
    EXPECT_EQ(*labels.rbegin(), "z");
    t.g.updateFromEmitter();
    EXPECT_TRUE(alpha.isValid());
}

TEST(GuideValueEvents, ValuesLeaveSourcesThatGo)
{
    NewGuide t;
    Value& alpha = t.g.transparency().value().rowValue(0);
    const Type first = alpha.getAllAvailableTypes().front();

    // The last max-life terminator goes: a curve over the life takes the first offered type.
    ASSERT_TRUE(alpha.changeType(Type::OverParticleLife));
    t.g.termination().removeTerminator(0);
    EXPECT_EQ(alpha.type(), first);
    t.g.termination().addTerminator(Eg::TerminationType::MaxLife);

    // Without movement, no speed.
    ASSERT_TRUE(alpha.changeType(Type::OverParticleSpeed));
    ASSERT_TRUE(t.g.positionChange().changeType(Eg::PositionChange::T_None));
    EXPECT_EQ(alpha.type(), alpha.defaultType());
    t.g.updateFromEmitter();
    EXPECT_TRUE(t.invalidSections().empty());
}

TEST(GuideCustomValues, NewValueIsARandomStoredUnderItsName)
{
    NewGuide t;
    Eg::CustomValues& list = t.g.customValues();
    const auto before = t.shape();
    Eg::CustomValue& custom = list.addValue();
    t.g.updateFromEmitter();
    EXPECT_EQ(custom.name(), "CustomValue");
    EXPECT_EQ(custom.dimensions(), 1u);
    EXPECT_EQ(custom.currentLevel(), 2);
    Value& row = custom.value().rowValue(0);
    EXPECT_EQ(row.type(), Type::Random);
    EXPECT_EQ(row.parentCustomValueId(), boost::make_optional(custom.id()));
    ASSERT_TRUE(row.isStoredOnInit());
    ASSERT_TRUE(row.paramId());
    const auto* param = BlockParamUser::castToThis(t.e.findBlockById(*row.paramId()));
    ASSERT_NE(param, nullptr);
    EXPECT_EQ(param->getName(), "CustomValue");
    EXPECT_EQ(custom.getOutputConnector()->blockId, *row.paramId());
    EXPECT_TRUE(custom.isValid());
    EXPECT_TRUE(t.invalidSections().empty());
    EXPECT_EQ(t.g.registeredParticleProperties().count(*row.paramId()), 1u);

    custom.setName("Speed");
    EXPECT_EQ(param->getName(), "Speed");
    // The next kind is stored under the new name too.
    ASSERT_TRUE(row.changeType(Type::Graph));
    ASSERT_TRUE(row.changeType(Type::Random));
    EXPECT_EQ(BlockParamUser::castToThis(t.e.findBlockById(*row.paramId()))->getName(), "Speed");

    list.removeValue(0);
    EXPECT_EQ(list.numValues(), 0u);
    EXPECT_EQ(t.shape(), before);
}

TEST(GuideCustomValues, SourcesFollowLevelsOrderAndDimensions)
{
    NewGuide t;
    Eg::CustomValues& list = t.g.customValues();
    Eg::CustomValue& a = list.addValue();
    Eg::CustomValue& b = list.addValue();
    Value& ofA = a.value().rowValue(0);
    Value& ofB = b.value().rowValue(0);
    Value& alpha = t.g.transparency().value().rowValue(0);
    // A custom value may read an earlier one of its level only.
    EXPECT_TRUE(a.canValueDependOnThis(ofB));
    EXPECT_FALSE(b.canValueDependOnThis(ofA));
    EXPECT_FALSE(a.canValueDependOnThis(ofA));
    EXPECT_TRUE(a.canValueDependOnThis(alpha));
    EXPECT_TRUE(a.canValueBeOverThis(alpha));
    EXPECT_TRUE(a.canValueUseThis(alpha));
    EXPECT_FALSE(a.canValueUseThis(t.g.color().value().rowValue(0)));

    ASSERT_TRUE(ofB.changeToOverCustomValueType(a.id()));
    EXPECT_FALSE(ofB.changeToOverCustomValueType(a.id()));
    ASSERT_TRUE(alpha.changeToCustomValueType(a.id()));
    t.g.updateFromEmitter();
    EXPECT_TRUE(ofB.isValid());
    EXPECT_TRUE(alpha.isValid());
    EXPECT_EQ(alpha.getOutputConnector()->blockId, *ofA.paramId());
    EXPECT_TRUE(t.invalidSections().empty());

    // Two dimensions: neither the curve over it nor a value of one dimension can stay.
    a.changeDimensions(2);
    EXPECT_EQ(ofB.type(), ofB.defaultType());
    EXPECT_EQ(alpha.type(), alpha.defaultType());
    t.g.updateFromEmitter();
    EXPECT_TRUE(a.isValid());
    EXPECT_TRUE(t.invalidSections().empty());

    // A removed custom value is left first.
    a.changeDimensions(1);
    ASSERT_TRUE(alpha.changeToOverCustomValueType(a.id()));
    const auto before = t.shape();
    list.removeValue(0);
    EXPECT_EQ(alpha.type(), alpha.defaultType());
    EXPECT_LT(t.shape().first, before.first);
    t.g.updateFromEmitter();
    EXPECT_TRUE(t.invalidSections().empty());
}

TEST(GuideValueFiles, CustomValuesAndMultiValuesReadBackToTheSameBytes)
{
    NewGuide t;
    Eg::CustomValue& a = t.g.customValues().addValue();
    t.g.customValues().addValue().setName("Second");
    a.value().addRow(2);
    ASSERT_TRUE(a.value().rowValue(1).changeType(Type::Graph));
    t.g.updateFromEmitter();

    const Bytes list = saveBytes(t.g.customValues());
    readFrom(list,
             [&](Sl::RevisionLoader& loader)
             {
                 const Eg::CustomValues loaded(t.g, loader);
                 ASSERT_EQ(loaded.numValues(), 2u);
                 EXPECT_EQ(loaded.value(1).name(), "Second");
                 EXPECT_EQ(loaded.value(0).value().numRows(), 2u);
                 EXPECT_EQ(saveBytes(loaded), list);
             });

    const Eg::MultiValue& multi = a.value();
    const Bytes bytes = saveBytes(multi);
    readFrom(bytes,
             [&](Sl::RevisionLoader& loader)
             {
                 const Eg::MultiValue loaded(t.g, multi.builder(), loader);
                 EXPECT_TRUE(loaded.isExprEnabled());
                 EXPECT_EQ(saveBytes(loaded), bytes);
             });
}

// Reads bytes that may be damaged: only the stream's exceptions may come out.
void expectOnlyLoadErrors(const Eg::ValueBuilder& builder, const Bytes& bytes)
{
    try
    {
        loadValue(builder, bytes);
    }
    catch (const Sl::Exception&)
    {
    }
    catch (const std::exception& e)
    {
        ADD_FAILURE() << "not a load error: " << e.what();
    }
}

TEST(GuideValueFiles, DamagedValuesGiveLoadErrorsOnly)
{
    NewGuide t;
    std::vector<Bytes> files;
    std::vector<const Eg::ValueBuilder*> builders;
    Value& alpha = t.g.transparency().value().rowValue(0);
    for (Type type : {Type::Graph, Type::Random, Type::OverEmitterTime, Type::EmitterProperty})
    {
        ASSERT_TRUE(alpha.changeType(type));
        if (auto* graph = dynamic_cast<Value::GraphBase*>(&alpha.impl()))
            graph->enableShift(true);
        files.push_back(saveBytes(alpha));
    }
    Value& velocity = t.g.color().value().rowValue(0);
    for (Type type : {Type::Sphere, Type::PointFromPath, Type::PointBetweenPaths, Type::Area})
    {
        if (velocity.type() != type)
        {
            ASSERT_TRUE(velocity.changeType(type));
        }
        files.push_back(saveBytes(velocity));
    }
    for (size_t f = 0; f < files.size(); ++f)
    {
        const Eg::ValueBuilder& builder = f < 4 ? alpha.builder() : velocity.builder();
        const Bytes& good = files[f];
        for (size_t i = 0; i < good.size(); ++i)
            for (uint8_t change : {uint8_t(1), uint8_t(0x80), uint8_t(0xff)})
            {
                Bytes bad = good;
                bad[i] = static_cast<uint8_t>(bad[i] ^ change);
                expectOnlyLoadErrors(builder, bad);
            }
        for (size_t size = 0; size < good.size(); size += 7)
            expectOnlyLoadErrors(builder, Bytes(good.begin(), good.begin() + size));
    }
}

TEST(GuideValueFiles, ImpossibleTypesDimensionsAndCountsAreCorrupt)
{
    NewGuide t;
    const Eg::ValueBuilder builder(t.g, 10, Type::Fixed);
    struct Case
    {
        const char* what;
        uint32_t dimensions;
        uint8_t type;
    };
    const Case cases[] = {
        {"a type past the last", 1, Value::kNumTypes},
        {"a point of two dimensions", 2, static_cast<uint8_t>(Type::Sphere)},
        {"no dimensions", 0, static_cast<uint8_t>(Type::Fixed)},
        {"four dimensions", 4, static_cast<uint8_t>(Type::Random)},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        const Bytes bytes = writeBytes(
            [&](Sl::RevisionSaver& s)
            {
                Sl::ScopedSaverGroup dimensions(s, 0);
                Sl::write("dimensions", s, c.dimensions);
                Sl::ScopedSaverGroup value(s, 7);
                s.write("type", c.type);
                s.write("prop_value_enabled", false);
            });
        EXPECT_THROW(loadValue(builder, bytes), Sl::CorruptedDataException);
    }

    const Bytes rows = writeBytes(
        [&](Sl::RevisionSaver& s)
        {
            Sl::ScopedSaverGroup dimensions(s, 0);
            Sl::write("dimensions", s, uint32_t(1));
            Sl::ScopedSaverGroup multi(s, 0);
            Sl::ScopedSaverGroup list(s, 0);
            s.write("num_items", uint32_t(Eg::MultiValue::kMaxRows + 1), Sl::PH_Packed);
        });
    EXPECT_THROW(
        readFrom(rows, [&](Sl::RevisionLoader& loader) { Eg::MultiValue(t.g, builder, loader); }),
        Sl::CorruptedDataException);

    // An older form of a value is read elsewhere.
    const Bytes old = writeBytes(
        [&](Sl::RevisionSaver& s)
        {
            Sl::ScopedSaverGroup dimensions(s, 0);
            Sl::write("dimensions", s, uint32_t(1));
            Sl::ScopedSaverGroup value(s, 6);
        });
    EXPECT_THROW(loadValue(builder, old), Sl::CorruptedDataException);
}

TEST(GuideValueBuilder, LinearCurveHasSmoothKeysAndLinearSegments)
{
    const Plot plot = Eg::makeLinearCurve({{0.0f, -90.0f}, {0.5f, 90.0f}, {1.0f, 0.0f}});
    ASSERT_EQ(plot.getNumKeys(), 3u);
    ASSERT_EQ(plot.getNumSegments(), 2u);
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_EQ(plot.getKey(i).type_, PKT_Smooth);
    for (unsigned i = 0; i < 2; ++i)
        EXPECT_EQ(plot.getSegment(i).type_, CST_Linear);
    EXPECT_FLOAT_EQ(plot.computeValue(0.25f), 0.0f);
    EXPECT_FLOAT_EQ(plot.computeValue(0.75f), 45.0f);
}

}  // namespace
