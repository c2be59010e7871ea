// The guide of a reflected emitter: an empty twin made with the emitter's copy, filled by the
// emitter's synchronisation once it holds the reflected blocks.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_rotation.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "particle_layout_model/plm_system.h"

namespace
{

using namespace Plm;
using Uuid = boost::uuids::uuid;

struct Shape
{
    std::vector<bool> valid;
    std::vector<std::string> values;
};

// What the form shows: each section's validity and each value's kind, level and validity.
Shape shapeOf(const EmitterGuide& guide)
{
    Shape shape;
    for (Eg::Base* section : guide.sections())
    {
        shape.valid.push_back(section->isValid());
        std::vector<Eg::Value*> values;
        section->collectValues(values);
        for (const Eg::Value* value : values)
            shape.values.push_back(std::string(Eg::Value::typeName(value->type())) + " " +
                                   std::to_string(value->level()) +
                                   (value->isValid() ? " valid" : " invalid"));
    }
    return shape;
}

void expectSameShape(const EmitterGuide& a, const EmitterGuide& b)
{
    const Shape sa = shapeOf(a), sb = shapeOf(b);
    EXPECT_EQ(sa.valid, sb.valid);
    EXPECT_EQ(sa.values, sb.values);
}

// An emitter and a reflection of it, as copied: the emitter's first synchronisation brings
// the blocks, then the guide follows.
struct Pair
{
    System system;
    Emitter& source = system.addEmitter(Emitter::create("source"));
    Emitter& reflection =
        system.addEmitter(source.reflect(ReflectionSourceRef::internal(source.getId())));

    void sync() { system.syncDeep(nullptr, ExternalResourcesMap()); }
};

TEST(GuideReflection, ACopyHasAnEmptyGuideThatSyncFillsAsItsSource)
{
    Pair p;
    ASSERT_TRUE(p.reflection.guide());
    for (Eg::Base* section : p.reflection.guide()->sections())
        EXPECT_FALSE(section);
    EXPECT_FALSE(p.reflection.guide()->getNormParticleLifeConnector());

    p.source.guide()->positionChange().changeType(Eg::PositionChange::T_Forces);
    p.source.guide()->customValues().addValue();
    p.sync();
    const EmitterGuide& twin = *p.reflection.guide();
    expectSameShape(twin, *p.source.guide());
    // The twin names the blocks of its own emitter.
    EXPECT_TRUE(p.reflection.findBlockById(twin.blockConstructId()));
    EXPECT_TRUE(twin.getNormParticleLifeConnector());
    // What the twin holds reads the same from its own graph.
    p.reflection.guide()->updateFromEmitter();
    expectSameShape(twin, *p.source.guide());
}

TEST(GuideReflection, KindsChangedInTheSourceAreTakenAtTheNextSync)
{
    Pair p;
    p.sync();
    EmitterGuide& source = *p.source.guide();
    source.positionChange().changeType(Eg::PositionChange::T_Path);
    source.rotation().changeType(Eg::Rotation::T_VelocityFree);
    source.size().changeType(Eg::Size::T_Rect);
    source.texMapping().changeType(Eg::TexMapping::T_Grid);
    source.termination().addTerminator(Eg::TerminationType::Path);
    source.color().value().rowValue(0).changeType(Eg::Value::Type::Graph);
    p.sync();
    expectSameShape(*p.reflection.guide(), source);
    EXPECT_EQ(p.reflection.guide()->positionChange().type(), Eg::PositionChange::T_Path);
    EXPECT_EQ(p.reflection.guide()->termination().numTerminators(), 2u);

    // And back: the variant objects are replaced again.
    source.positionChange().changeType(Eg::PositionChange::T_Steady);
    source.rotation().changeType(Eg::Rotation::T_Controlled);
    source.termination().removeTerminator(1);
    p.sync();
    expectSameShape(*p.reflection.guide(), source);
}

TEST(GuideReflection, OverridesMadeInTheReflectionSurviveItsSource)
{
    Pair p;
    p.sync();
    auto transparency = [](const EmitterGuide& g) -> Eg::Value::FixedProp&
    { return dynamic_cast<Eg::Value::FixedProp&>(g.transparency().value().rowValue(0).impl()); };
    auto color = [](const EmitterGuide& g) -> Eg::Value::FixedProp&
    { return dynamic_cast<Eg::Value::FixedProp&>(g.color().value().rowValue(0).impl()); };
    EmitterGuide& twin = *p.reflection.guide();
    EmitterGuide& source = *p.source.guide();
    transparency(twin).changeValue(0, 0.25f);
    transparency(source).changeValue(0, 0.5f);
    color(source).changeValue(1, 0.75f);
    p.sync();
    // The source moves the base; the edit made here stays in front of it.
    EXPECT_EQ(transparency(twin).value(0), 0.25f);
    EXPECT_EQ(transparency(twin).valueRefl().source()[0], 0.5f);
    EXPECT_EQ(color(twin).value(1), 0.75f);
    EXPECT_FALSE(color(twin).valueRefl().isOverridden());
}

TEST(GuideReflection, BlocksMissingInTheReflectionLeaveItsSectionsInvalid)
{
    Pair p;
    p.reflection.guide()->syncReflection(*p.source.guide());
    // Nothing of the source was mirrored: every id maps to none, and the twin gives up.
    p.reflection.guide()->updateFromEmitter();
    const std::vector<Eg::Base*> sections = p.reflection.guide()->sections();
    // The list of custom values holds none, so it has nothing to miss.
    EXPECT_TRUE(sections[0]->isValid());
    for (size_t i = 1; i < sections.size(); ++i)
        EXPECT_FALSE(sections[i]->isValid()) << i;
    EXPECT_FALSE(p.reflection.guide()->constructValid());
}

}  // namespace
