// The sections of the particles' looks: rotation, size, transparency, colour and texture
// mapping. Each kind built and taken back, the links into the constructor, what makes a section
// give up, and the files.
#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_move.h"
#include "particle_layout_model/plm_block_func_rotation_from_axes.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_rotation.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"

namespace
{

using namespace Plm;
using Uuid = boost::uuids::uuid;
using Eg::Rotation;
using Eg::RotationControlled;
using Eg::RotationVelocityFaced;
using Eg::RotationVelocityFree;
using Eg::Size;
using Eg::TexMapping;

const char* const kSectionNames[] = {
    "custom_values", "generation", "termination",  "position_start", "position_change",
    "rotation",      "size",       "transparency", "color",          "tex_mapping"};

struct NewEmitter
{
    System system;
    Emitter& e = system.addEmitter(Emitter::create("e"));
    EmitterGuide& guide = *e.guide();

    RotationControlled& controlled() const
    {
        RotationControlled* c = guide.rotation().controlled();
        EXPECT_TRUE(c);
        return *c;
    }
    BlockConstructQuads& construct() const
    {
        return static_cast<BlockConstructQuads&>(e.getBlockById(guide.blockConstructId()));
    }
};

std::vector<std::string> invalidSections(const EmitterGuide& guide)
{
    std::vector<std::string> names;
    const std::vector<Eg::Base*> sections = guide.sections();
    for (size_t i = 0; i < sections.size(); ++i)
        if (!sections[i]->isValid())
            names.push_back(kSectionNames[i]);
    return names;
}

std::vector<std::string> factoryNames(const Emitter& e)
{
    std::vector<std::string> names;
    for (const Block& block : e.allBlocks())
        names.push_back(block.getFactoryName().str());
    std::sort(names.begin(), names.end());
    return names;
}

unsigned int countOfKind(const Emitter& e, const std::string& factoryName)
{
    unsigned int count = 0;
    for (const Block& block : e.allBlocks())
        if (block.getFactoryName().str() == factoryName)
            ++count;
    return count;
}

// Every input that exists is fed by exactly one link: nothing left dangling, nothing doubled.
void expectEveryInputFedOnce(const Emitter& e)
{
    std::map<std::pair<Uuid, uint32_t>, int> fed;
    for (unsigned int i = 0; i < e.getNumLinks(); ++i)
        ++fed[{e.getLink(i).input_.blockId, e.getLink(i).input_.desc_.index_}];
    for (const Block& block : e.allBlocks())
        for (unsigned int c = 0; c < block.getNumConnectors(); ++c)
        {
            if (block.getConnectorDesc(c).dir_ != CD_Input)
                continue;
            EXPECT_EQ((fed[{block.getId(), block.getConnectorDesc(c).index_}]), 1)
                << block.getFactoryName().str() << " input " << block.getConnectorDesc(c).index_;
        }
}

bool linked(const Emitter& e, const boost::optional<BlockConnector>& output, const Uuid& input,
            uint32_t index)
{
    return output && e.getLinkIndex(*output, e.getBlockById(input), index);
}

using Action = std::function<bool(NewEmitter&)>;

Action rotationTo(Rotation::Type t)
{
    return [t](NewEmitter& n) { return n.guide.rotation().changeType(t); };
}
Action controlledTo(RotationControlled::Type t)
{
    return [t](NewEmitter& n) { return n.controlled().changeType(t); };
}
Action changeTo(RotationControlled::ChangeType t)
{
    return [t](NewEmitter& n) { return n.controlled().changeChangeType(t); };
}
Action axisTo(RotationControlled::AxisType t)
{
    return [t](NewEmitter& n) { return n.controlled().changeAxisType(t); };
}
Action sizeTo(Size::Type t)
{
    return [t](NewEmitter& n) { return n.guide.size().changeType(t); };
}
Action sizeChangeTo(Size::ChangeType t)
{
    return [t](NewEmitter& n) { return n.guide.size().changeChangeType(t); };
}
Action texTo(TexMapping::Type t)
{
    return [t](NewEmitter& n) { return n.guide.texMapping().changeType(t); };
}

struct SwitchCase
{
    const char* what;
    std::vector<Action> prepare;
    Action there;
    Action back;
};

const std::vector<SwitchCase>& switchCases()
{
    using RC = RotationControlled;
    static const std::vector<SwitchCase> cases = {
        {"rotation by velocity, faced",
         {},
         rotationTo(Rotation::T_VelocityFaced),
         rotationTo(Rotation::T_Controlled)},
        {"rotation by velocity, free",
         {},
         rotationTo(Rotation::T_VelocityFree),
         rotationTo(Rotation::T_Controlled)},
        {"free rotation", {}, controlledTo(RC::T_Free), controlledTo(RC::T_Faced)},
        {"free rotation, random axis to fixed",
         {controlledTo(RC::T_Free)},
         axisTo(RC::AT_Fixed),
         axisTo(RC::AT_Random)},
        {"free rotation with a fixed axis",
         {axisTo(RC::AT_Fixed)},
         controlledTo(RC::T_Free),
         controlledTo(RC::T_Faced)},
        {"steady turn", {}, changeTo(RC::CT_Steady), changeTo(RC::CT_None)},
        {"angle by value", {}, changeTo(RC::CT_Graph), changeTo(RC::CT_None)},
        {"steady to by value",
         {changeTo(RC::CT_Steady)},
         changeTo(RC::CT_Graph),
         changeTo(RC::CT_Steady)},
        {"free rotation, steady turn",
         {controlledTo(RC::T_Free)},
         changeTo(RC::CT_Steady),
         changeTo(RC::CT_None)},
        {"free rotation, angle by value",
         {controlledTo(RC::T_Free)},
         changeTo(RC::CT_Graph),
         changeTo(RC::CT_None)},
        {"angle by value, then free",
         {changeTo(RC::CT_Graph)},
         controlledTo(RC::T_Free),
         controlledTo(RC::T_Faced)},
        // A new controlled rotation starts without a change of the angle.
        {"steady turn, then by velocity",
         {changeTo(RC::CT_Steady)},
         rotationTo(Rotation::T_VelocityFree),
         [](NewEmitter& n)
         { return rotationTo(Rotation::T_Controlled)(n) && changeTo(RC::CT_Steady)(n); }},
        {"rectangle", {}, sizeTo(Size::T_Rect), sizeTo(Size::T_Square)},
        {"size multiplier", {}, sizeChangeTo(Size::CT_Multiplier), sizeChangeTo(Size::CT_None)},
        {"size multiplier, then rectangle",
         {sizeChangeTo(Size::CT_Multiplier)},
         sizeTo(Size::T_Rect),
         sizeTo(Size::T_Square)},
        {"rectangle, then multiplier",
         {sizeTo(Size::T_Rect)},
         sizeChangeTo(Size::CT_Multiplier),
         sizeChangeTo(Size::CT_None)},
        {"texture grid", {}, texTo(TexMapping::T_Grid), texTo(TexMapping::T_None)},
    };
    return cases;
}

TEST(GuideLooks, NewSectionsAreValidWithTheirDefaultKinds)
{
    NewEmitter n;
    EXPECT_TRUE(invalidSections(n.guide).empty());
    EXPECT_EQ(n.guide.rotation().type(), Rotation::T_Controlled);
    EXPECT_EQ(n.controlled().type(), RotationControlled::T_Faced);
    EXPECT_EQ(n.controlled().getChangeType(), RotationControlled::CT_None);
    EXPECT_EQ(n.controlled().axisType(), RotationControlled::AT_Random);
    EXPECT_EQ(n.guide.size().type(), Size::T_Square);
    EXPECT_EQ(n.guide.texMapping().type(), TexMapping::T_None);

    // The constructor: a faced rotation from the angle parameter, the square size from the
    // start value; colour and alpha carry their fixed values themselves.
    const BlockConstructQuads& c = n.construct();
    EXPECT_EQ(c.getRotationType(), Ps::CGO_Faced);
    EXPECT_TRUE(c.isFacedRotationExternal());
    EXPECT_EQ(c.getSizeType(), BlockConstructQuads::ST_Quad);
    EXPECT_TRUE(c.isSizeExternal());
    EXPECT_FALSE(c.isAlphaExternal());
    EXPECT_FALSE(c.isColorExternal());
    EXPECT_EQ(c.getTexOp(), Ps::CTO_Rect);
    EXPECT_TRUE(linked(n.e, n.controlled().getAngleConnector(), n.guide.blockConstructId(), 1));
    EXPECT_TRUE(linked(n.e, n.guide.size().getOutputConnector(), n.guide.blockConstructId(), 3));
    EXPECT_EQ(n.e.getBlockById(n.controlled().angleBlockId()).getFactoryName().str(),
              "param_user_float");
    EXPECT_EQ(n.guide.transparency().value().dimensions(), 1u);
    EXPECT_EQ(n.guide.color().value().dimensions(), 3u);
}

TEST(GuideLooks, EachKindLinksCompletelyAndSwitchingBackLeavesNoOrphans)
{
    for (const SwitchCase& c : switchCases())
    {
        SCOPED_TRACE(c.what);
        NewEmitter n;
        for (const Action& prepare : c.prepare)
            ASSERT_TRUE(prepare(n));
        const std::vector<std::string> blocks = factoryNames(n.e);
        const unsigned int links = n.e.getNumLinks();

        ASSERT_TRUE(c.there(n));
        EXPECT_FALSE(c.there(n)) << "a second change to the same kind changes nothing";
        EXPECT_TRUE(invalidSections(n.guide).empty());
        expectEveryInputFedOnce(n.e);

        ASSERT_TRUE(c.back(n));
        EXPECT_TRUE(invalidSections(n.guide).empty());
        EXPECT_EQ(factoryNames(n.e), blocks);
        EXPECT_EQ(n.e.getNumLinks(), links);
        expectEveryInputFedOnce(n.e);
    }
}

TEST(GuideLooks, FreeRotationBuildsItsAxisAndFacedRemovesIt)
{
    NewEmitter n;
    const unsigned int params = n.e.paramBlocks().size();
    ASSERT_TRUE(n.controlled().changeType(RotationControlled::T_Free));
    ASSERT_TRUE(n.controlled().axisBlockId());
    const Uuid axisBlock = *n.controlled().axisBlockId();
    EXPECT_EQ(n.construct().getRotationType(), Ps::CGO_Free);
    EXPECT_TRUE(linked(n.e, n.e.getBlockById(axisBlock).findConnectorById(2),
                       n.guide.blockConstructId(), 2));
    EXPECT_TRUE(linked(n.e, n.controlled().getAngleConnector(), axisBlock, 1));
    // The random axis is kept per particle in "Rot. axis", a parameter the guide places.
    ASSERT_TRUE(n.controlled().randomAxis());
    const Uuid axisParam = n.controlled().randomAxis()->paramBlockId();
    EXPECT_EQ(n.e.paramBlocks().size(), params + 1);
    EXPECT_EQ(n.guide.registeredParticleProperties().count(axisParam), 1u);
    EXPECT_TRUE(linked(n.e, n.controlled().randomAxis()->getOutputConnector(), axisBlock, 0));

    ASSERT_TRUE(n.controlled().changeType(RotationControlled::T_Faced));
    EXPECT_FALSE(n.e.findBlockById(axisBlock));
    EXPECT_FALSE(n.e.findBlockById(axisParam));
    EXPECT_EQ(countOfKind(n.e, "func_rotation_axis"), 0u);
    EXPECT_FALSE(n.controlled().axisBlockId());
    EXPECT_FALSE(n.controlled().axis());
    EXPECT_EQ(n.e.paramBlocks().size(), params);
    EXPECT_EQ(n.construct().getRotationType(), Ps::CGO_Faced);
    EXPECT_TRUE(linked(n.e, n.controlled().getAngleConnector(), n.guide.blockConstructId(), 1));
}

TEST(GuideLooks, AngleChangesTakeTheAngleInputAndGiveItBack)
{
    NewEmitter n;
    const Uuid construct = n.guide.blockConstructId();
    // A steady turn updates the angle parameter, which thereby becomes a guide parameter.
    ASSERT_TRUE(n.controlled().changeChangeType(RotationControlled::CT_Steady));
    EXPECT_EQ(n.guide.registeredParticleProperties().count(n.controlled().angleBlockId()), 1u);
    EXPECT_TRUE(linked(n.e, n.controlled().getAngleConnector(), construct, 1));

    // By value, the sum takes the angle's place on the constructor.
    ASSERT_TRUE(n.controlled().changeChangeType(RotationControlled::CT_Graph));
    auto* graph = dynamic_cast<Eg::RotationChangeGraph*>(&n.controlled().change());
    ASSERT_TRUE(graph);
    EXPECT_TRUE(linked(n.e, graph->getOutputConnector(), construct, 1));
    EXPECT_TRUE(linked(n.e, n.controlled().getAngleConnector(), graph->expressionBlockId(), 1));
    EXPECT_EQ(graph->value().rowValue(0).type(), Eg::Value::Type::OverParticleLife);

    // Free: the sum feeds the axis block instead.
    ASSERT_TRUE(n.controlled().changeType(RotationControlled::T_Free));
    EXPECT_TRUE(linked(n.e, graph->getOutputConnector(), *n.controlled().axisBlockId(), 1));
    ASSERT_TRUE(n.controlled().changeChangeType(RotationControlled::CT_None));
    EXPECT_TRUE(linked(n.e, n.controlled().getAngleConnector(), *n.controlled().axisBlockId(), 1));
    EXPECT_TRUE(invalidSections(n.guide).empty());
}

TEST(GuideLooks, RotationByVelocityNeedsAVelocityAndFallsBackWithoutOne)
{
    NewEmitter n;
    EXPECT_TRUE(n.guide.rotation().areVelocityTypesPossible());
    ASSERT_TRUE(n.guide.rotation().changeType(Rotation::T_VelocityFree));
    const Uuid block = n.guide.rotation().velocityFree()->blockId();
    EXPECT_TRUE(linked(n.e, n.guide.positionChange().getVelocityConnector(), block, 0));

    // Forces bring another velocity: the rotation follows it.
    ASSERT_TRUE(n.guide.positionChange().changeType(Eg::PositionChange::T_Forces));
    EXPECT_TRUE(linked(n.e, n.guide.positionChange().getVelocityConnector(), block, 0));
    EXPECT_TRUE(invalidSections(n.guide).empty());

    // No movement, nothing to follow: back to the controlled angle, still valid.
    ASSERT_TRUE(n.guide.positionChange().changeType(Eg::PositionChange::T_None));
    EXPECT_FALSE(n.guide.rotation().areVelocityTypesPossible());
    EXPECT_EQ(n.guide.rotation().type(), Rotation::T_Controlled);
    EXPECT_FALSE(n.e.findBlockById(block));
    EXPECT_TRUE(invalidSections(n.guide).empty());
    EXPECT_FALSE(n.guide.rotation().changeType(Rotation::T_VelocityFaced));
    EXPECT_FALSE(n.guide.rotation().changeType(Rotation::T_VelocityFree));
    EXPECT_EQ(countOfKind(n.e, "func_rotation_from_axes"), 0u);
}

TEST(GuideLooks, VelocityFreeTypesSetTheSoftAxisUnlessTheUserDid)
{
    const glm::vec3 x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
    struct Case
    {
        RotationVelocityFree::Type type;
        const char* label;
        glm::vec3 soft;
    } cases[] = {
        {RotationVelocityFree::T_XY, "X + Y", y}, {RotationVelocityFree::T_XZ, "X + Z", z},
        {RotationVelocityFree::T_YX, "Y + X", x}, {RotationVelocityFree::T_YZ, "Y + Z", z},
        {RotationVelocityFree::T_ZX, "Z + X", x}, {RotationVelocityFree::T_ZY, "Z + Y", y},
    };
    NewEmitter n;
    ASSERT_TRUE(n.guide.rotation().changeType(Rotation::T_VelocityFree));
    RotationVelocityFree& free = *n.guide.rotation().velocityFree();
    auto& block = static_cast<BlockFuncRotationFromAxes&>(n.e.getBlockById(free.blockId()));
    // Start from the last type, so that every case is a change.
    ASSERT_TRUE(free.changeType(RotationVelocityFree::T_ZY));
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.label);
        EXPECT_STREQ(RotationVelocityFree::typeLabel(c.type), c.label);
        free.changeType(c.type);
        EXPECT_EQ(block.getType(), static_cast<Ps::EnumRotationFromAxesType>(c.type));
        EXPECT_EQ(block.getSecondAxis(), c.soft);
        EXPECT_EQ(free.softAxis().get(), c.soft);
        EXPECT_FALSE(free.softAxis().isOverridden());
    }

    const glm::vec3 mine(0.0f, 0.6f, 0.8f);
    EXPECT_TRUE(free.setSoftAxis(mine));
    EXPECT_FALSE(free.setSoftAxis(mine));
    EXPECT_TRUE(free.changeType(RotationVelocityFree::T_XZ));
    EXPECT_EQ(block.getSecondAxis(), mine);
    free.discardSoftAxis();
    EXPECT_EQ(block.getSecondAxis(), z);

    // An axis typed into the scheme is read back as the user's, and harms nothing.
    block.setSecondAxis(x);
    EXPECT_EQ(free.softAxis().get(), x);
    EXPECT_TRUE(free.softAxis().isOverridden());
    block.setType(Ps::RFA_YZ);
    EXPECT_EQ(free.type(), RotationVelocityFree::T_YZ);
    EXPECT_TRUE(invalidSections(n.guide).empty());
}

TEST(GuideLooks, VelocityFacedSoftAxisChoosesTheBlockType)
{
    NewEmitter n;
    ASSERT_TRUE(n.guide.rotation().changeType(Rotation::T_VelocityFaced));
    RotationVelocityFaced& faced = *n.guide.rotation().velocityFaced();
    auto& block = static_cast<BlockFuncRotationFromAxes&>(n.e.getBlockById(faced.blockId()));
    EXPECT_EQ(block.getType(), Ps::RFA_ZX);
    EXPECT_FALSE(block.isFirstAxisExternal());
    EXPECT_EQ(block.getFirstAxis(), glm::vec3(0, 0, 1));
    EXPECT_TRUE(linked(n.e, n.guide.positionChange().getVelocityConnector(), faced.blockId(), 1));

    EXPECT_TRUE(faced.setSoftAxis(RotationVelocityFaced::SA_Y));
    EXPECT_EQ(block.getType(), Ps::RFA_ZY);
    EXPECT_FALSE(faced.setSoftAxis(RotationVelocityFaced::SA_Y));
    faced.discardSoftAxis();
    EXPECT_EQ(block.getType(), Ps::RFA_ZX);
    EXPECT_EQ(faced.softAxis().get(), RotationVelocityFaced::SA_X);

    // A type of the free kinds isn't a faced rotation any more.
    block.setType(Ps::RFA_XY);
    EXPECT_EQ(invalidSections(n.guide), std::vector<std::string>{"rotation"});
}

TEST(GuideLooks, RectangleHasTwoDimensionsAndFeedsTheRectangleInput)
{
    NewEmitter n;
    Size& size = n.guide.size();
    ASSERT_TRUE(size.changeChangeType(Size::CT_Multiplier));
    ASSERT_TRUE(size.changeType(Size::T_Rect));
    auto* graph = dynamic_cast<Eg::SizeChangeGraph*>(&size.change());
    ASSERT_TRUE(graph);
    EXPECT_EQ(size.start().dimensions(), 2u);
    EXPECT_EQ(graph->value().dimensions(), 2u);
    EXPECT_EQ(graph->dimensions(), 2u);
    EXPECT_EQ(n.construct().getSizeType(), BlockConstructQuads::ST_Rect);
    EXPECT_TRUE(n.construct().isSizeRectExternal());
    EXPECT_TRUE(linked(n.e, graph->getOutputConnector(), n.guide.blockConstructId(), 8));
    const auto& expr =
        static_cast<const BlockFuncExpression&>(n.e.getBlockById(graph->expressionBlockId()));
    EXPECT_EQ(expr.getInputType(0), CT_Vec2);
    EXPECT_EQ(expr.getInputType(1), CT_Vec2);
    EXPECT_EQ(expr.getExpression(), "a * b");
    EXPECT_TRUE(linked(n.e, size.start().getOutputConnector(), graph->expressionBlockId(), 1));

    ASSERT_TRUE(size.changeType(Size::T_Square));
    EXPECT_EQ(size.start().dimensions(), 1u);
    EXPECT_EQ(graph->value().dimensions(), 1u);
    EXPECT_EQ(n.construct().getSizeType(), BlockConstructQuads::ST_Quad);
    EXPECT_TRUE(linked(n.e, graph->getOutputConnector(), n.guide.blockConstructId(), 3));
    EXPECT_TRUE(invalidSections(n.guide).empty());
}

TEST(GuideLooks, SchemeEditsThatBreakOneSectionLeaveTheOthersValid)
{
    using RC = RotationControlled;
    struct Case
    {
        const char* what;
        std::vector<Action> prepare;
        std::function<void(NewEmitter&)> edit;
        std::vector<std::string> invalid;
    } cases[] = {
        {"size multiplier expression text",
         {sizeChangeTo(Size::CT_Multiplier)},
         [](NewEmitter& n)
         {
             auto& graph = dynamic_cast<Eg::SizeChangeGraph&>(n.guide.size().change());
             static_cast<BlockFuncExpression&>(n.e.getBlockById(graph.expressionBlockId()))
                 .setExpression(std::string("a + b"));
         },
         {"size"}},
        {"size type set in the scheme",
         {},
         [](NewEmitter& n) { n.construct().setSizeType(BlockConstructQuads::ST_Rect); },
         {"size"}},
        {"angle-by-value expression text",
         {changeTo(RC::CT_Graph)},
         [](NewEmitter& n)
         {
             auto& graph = dynamic_cast<Eg::RotationChangeGraph&>(n.controlled().change());
             static_cast<BlockFuncExpression&>(n.e.getBlockById(graph.expressionBlockId()))
                 .setExpression(std::string("a * b"));
         },
         {"rotation"}},
        {"rotation axis block removed",
         {controlledTo(RC::T_Free)},
         [](NewEmitter& n) { n.e.removeBlock(*n.controlled().axisBlockId()); },
         {"rotation"}},
        {"steady turn's move removed",
         {changeTo(RC::CT_Steady)},
         [](NewEmitter& n)
         {
             n.e.removeBlock(
                 dynamic_cast<Eg::RotationChangeSteady&>(n.controlled().change()).moveBlockId());
         },
         {"rotation"}},
        {"faced rotation made constant",
         {},
         [](NewEmitter& n) { n.construct().setFacedRotationExternal(false); },
         {"rotation"}},
        {"texture mapping set in the scheme",
         {texTo(TexMapping::T_Grid)},
         [](NewEmitter& n) { n.construct().setTexOp(Ps::CTO_Rect); },
         {"tex_mapping"}},
        {"texture grid on without the guide",
         {},
         [](NewEmitter& n) { n.construct().setTexOp(Ps::CTO_Grid); },
         {"tex_mapping"}},
        // Numbers changed in blocks harm nothing.
        {"grid columns typed into the constructor",
         {texTo(TexMapping::T_Grid)},
         [](NewEmitter& n) { n.construct().setTexOpGridCols(7u); },
         {}},
        {"colour typed into the constructor",
         {},
         [](NewEmitter& n) { n.construct().setColor(glm::vec3(0.5f)); },
         {}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        NewEmitter n;
        for (const Action& prepare : c.prepare)
            ASSERT_TRUE(prepare(n));
        c.edit(n);
        EXPECT_EQ(invalidSections(n.guide), c.invalid);
    }
}

TEST(GuideLooks, GridSizeReachesTheConstructorAndComesBack)
{
    NewEmitter n;
    ASSERT_TRUE(n.guide.texMapping().changeType(TexMapping::T_Grid));
    Eg::TexMappingGrid& grid = *n.guide.texMapping().grid();
    BlockConstructQuads& c = n.construct();
    EXPECT_EQ(c.getTexOp(), Ps::CTO_Grid);
    EXPECT_TRUE(linked(n.e, grid.frameIndex().getOutputConnector(), n.guide.blockConstructId(), 6));
    EXPECT_EQ(grid.gridWidth().get(), 1u);
    EXPECT_EQ(grid.gridHeight().get(), 1u);

    EXPECT_TRUE(grid.changeGridWidth(4));
    EXPECT_TRUE(grid.changeGridHeight(3));
    EXPECT_EQ(c.getTexOpGridCols(), 4u);
    EXPECT_EQ(c.getTexOpGridRows(), 3u);
    EXPECT_EQ(grid.gridWidth().get(), 4u);
    EXPECT_TRUE(grid.gridWidth().isOverridden());
    EXPECT_FALSE(grid.changeGridWidth(4));
    EXPECT_FALSE(grid.changeGridHeight(0)) << "a grid has at least one row";

    // Typed into the constructor, the number shows in the form.
    c.setTexOpGridRows(5u);
    EXPECT_EQ(grid.gridHeight().get(), 5u);

    grid.discardGridWidth();
    grid.discardGridHeight();
    EXPECT_EQ(c.getTexOpGridCols(), 1u);
    EXPECT_EQ(c.getTexOpGridRows(), 1u);
    EXPECT_FALSE(grid.gridWidth().isOverridden());
    EXPECT_EQ(grid.gridWidth().get(), 1u);

    ASSERT_TRUE(n.guide.texMapping().changeType(TexMapping::T_None));
    EXPECT_EQ(c.getTexOp(), Ps::CTO_Rect);
}

struct Shape
{
    Rotation::Type rotation;
    boost::optional<RotationControlled::Type> controlled;
    boost::optional<RotationControlled::ChangeType> change;
    boost::optional<RotationControlled::AxisType> axis;
    Size::Type size;
    Size::ChangeType sizeChange;
    TexMapping::Type tex;
    bool collapsed;
};

Shape shapeOf(const EmitterGuide& g)
{
    Shape s{g.rotation().type(),
            {},
            {},
            {},
            g.size().type(),
            g.size().getChangeType(),
            g.texMapping().type(),
            g.rotation().collapsed()};
    if (const RotationControlled* c = g.rotation().controlled())
    {
        s.controlled = c->type();
        s.change = c->getChangeType();
        s.axis = c->axisType();
    }
    return s;
}

bool operator==(const Shape& a, const Shape& b)
{
    return a.rotation == b.rotation && a.controlled == b.controlled && a.change == b.change &&
           a.axis == b.axis && a.size == b.size && a.sizeChange == b.sizeChange && a.tex == b.tex &&
           a.collapsed == b.collapsed;
}

TEST(GuideLooks, EverySectionKindRoundTripsThroughAFile)
{
    using RC = RotationControlled;
    struct Case
    {
        const char* what;
        std::vector<Action> set;
    } cases[] = {
        {"defaults", {}},
        {"free, fixed axis, steady; rectangle with multiplier; grid",
         {controlledTo(RC::T_Free), axisTo(RC::AT_Fixed), changeTo(RC::CT_Steady),
          sizeTo(Size::T_Rect), sizeChangeTo(Size::CT_Multiplier), texTo(TexMapping::T_Grid),
          [](NewEmitter& n)
          {
              n.guide.rotation().setCollapsed(true);
              n.guide.size().setCollapsed(true);
              n.guide.color().setCollapsed(true);
              return n.guide.texMapping().grid()->changeGridWidth(4);
          }}},
        {"free, random axis, by value", {controlledTo(RC::T_Free), changeTo(RC::CT_Graph)}},
        {"faced by value; square multiplier",
         {changeTo(RC::CT_Graph), sizeChangeTo(Size::CT_Multiplier)}},
        {"velocity faced, Y",
         {rotationTo(Rotation::T_VelocityFaced),
          [](NewEmitter& n) {
              return n.guide.rotation().velocityFaced()->setSoftAxis(RotationVelocityFaced::SA_Y);
          }}},
        {"velocity free, Z + X, own soft axis",
         {rotationTo(Rotation::T_VelocityFree),
          [](NewEmitter& n)
          {
              RotationVelocityFree& f = *n.guide.rotation().velocityFree();
              return f.changeType(RotationVelocityFree::T_ZX) &&
                     f.setSoftAxis(glm::vec3(0.0f, 0.6f, 0.8f));
          }}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        NewEmitter n;
        for (const Action& set : c.set)
            ASSERT_TRUE(set(n));
        const std::vector<uint8_t> saved = saveEmitterPlain(n.e);
        std::unique_ptr<Emitter> loaded = loadEmitterPlain(saved.data(), saved.size(), n.system);
        ASSERT_TRUE(loaded->guide());
        const EmitterGuide& g = *loaded->guide();
        EXPECT_TRUE(shapeOf(g) == shapeOf(n.guide));
        EXPECT_TRUE(invalidSections(g).empty());
        EXPECT_EQ(g.size().collapsed(), n.guide.size().collapsed());
        EXPECT_EQ(g.color().collapsed(), n.guide.color().collapsed());
        if (const RotationVelocityFree* f = g.rotation().velocityFree())
        {
            EXPECT_EQ(f->type(), n.guide.rotation().velocityFree()->type());
            EXPECT_EQ(f->softAxis().get(), n.guide.rotation().velocityFree()->softAxis().get());
        }
        if (const RotationVelocityFaced* f = g.rotation().velocityFaced())
        {
            EXPECT_EQ(f->softAxis().get(), n.guide.rotation().velocityFaced()->softAxis().get());
        }
        if (const Eg::TexMappingGrid* grid = g.texMapping().grid())
        {
            EXPECT_EQ(grid->gridWidth().get(), n.guide.texMapping().grid()->gridWidth().get());
        }
        EXPECT_EQ(saveEmitterPlain(*loaded), saved);
    }
}

TEST(GuideLooks, DamagedLooksGiveLoadErrorsOnly)
{
    NewEmitter n;
    ASSERT_TRUE(n.controlled().changeType(RotationControlled::T_Free));
    ASSERT_TRUE(n.controlled().changeAxisType(RotationControlled::AT_Fixed));
    ASSERT_TRUE(n.controlled().changeChangeType(RotationControlled::CT_Steady));
    ASSERT_TRUE(n.guide.size().changeType(Size::T_Rect));
    ASSERT_TRUE(n.guide.size().changeChangeType(Size::CT_Multiplier));
    ASSERT_TRUE(n.guide.texMapping().changeType(TexMapping::T_Grid));
    const std::vector<uint8_t> saved = saveEmitterPlain(n.e);
    // Every cut of the file, and a byte changed at every 5th place: an error of the loader or
    // an emitter that can be emptied without a broken invariant.
    for (size_t size = 0; size < saved.size(); ++size)
        EXPECT_THROW(loadEmitterPlain(saved.data(), size, n.system), Sl::Exception) << size;
    for (size_t at = 0; at < saved.size(); at += 5)
    {
        std::vector<uint8_t> damaged = saved;
        damaged[at] ^= 0xa5;
        try
        {
            std::unique_ptr<Emitter> e = loadEmitterPlain(damaged.data(), damaged.size(), n.system);
            while (e->allBlocks().size() > 0)
                e->removeBlock(e->allBlocks().getId(0));
        }
        catch (const Sl::Exception&)
        {
        }
    }
}

TEST(GuideLooks, LoadedSectionsNameTheirBlocksAndCanBeChangedBack)
{
    NewEmitter n;
    ASSERT_TRUE(n.controlled().changeType(RotationControlled::T_Free));
    ASSERT_TRUE(n.controlled().changeChangeType(RotationControlled::CT_Graph));
    ASSERT_TRUE(n.guide.size().changeChangeType(Size::CT_Multiplier));
    ASSERT_TRUE(n.guide.texMapping().changeType(TexMapping::T_Grid));
    const std::vector<uint8_t> saved = saveEmitterPlain(n.e);
    std::unique_ptr<Emitter> loaded = loadEmitterPlain(saved.data(), saved.size(), n.system);
    EmitterGuide& g = *loaded->guide();
    RotationControlled& c = *g.rotation().controlled();

    // Taking each kind back must find and remove the loaded blocks, not leave them behind.
    ASSERT_TRUE(c.changeChangeType(RotationControlled::CT_None));
    ASSERT_TRUE(c.changeType(RotationControlled::T_Faced));
    ASSERT_TRUE(g.size().changeChangeType(Size::CT_None));
    ASSERT_TRUE(g.texMapping().changeType(TexMapping::T_None));
    NewEmitter fresh;
    EXPECT_EQ(factoryNames(*loaded), factoryNames(fresh.e));
    EXPECT_EQ(loaded->getNumLinks(), fresh.e.getNumLinks());
    EXPECT_TRUE(invalidSections(g).empty());
}

// Reflection: the guide of a reflected emitter is an empty twin that syncs from the source's
// guide. The reflected emitter is a copy of the source with the blocks' identities, so every
// source block maps to the block of the same id.

// Brings the blocks and links of `to` to those of `from`, identities included, as the
// emitter's own synchronisation will: blocks gone or changed in `from` are replaced.
void mirror(Emitter& to, const Emitter& from)
{
    std::vector<Uuid> stale;
    for (const Block& block : to.allBlocks())
    {
        const Block* theirs = from.findBlockById(block.getId());
        if (!theirs || saveBlockPlain(*theirs) != saveBlockPlain(block))
            stale.push_back(block.getId());
    }
    // A removal may take dependent blocks with it (a parameter its updater).
    for (const Uuid& id : stale)
        if (to.findBlockById(id))
            to.removeBlock(id);
    for (const Block& block : from.allBlocks())
        if (!to.findBlockById(block.getId()))
        {
            const std::vector<uint8_t> bytes = saveBlockPlain(block);
            to.addBlock(loadBlockPlain(bytes.data(), bytes.size()));
        }
    std::vector<BlockConnector> unfed;
    for (unsigned int i = 0; i < to.getNumLinks(); ++i)
        if (!from.getLinkIndex(to.getLink(i)))
            unfed.push_back(to.getLink(i).input_);
    for (const BlockConnector& input : unfed)
        to.clearNonReflectedConnector(input);
    for (unsigned int i = 0; i < from.getNumLinks(); ++i)
        to.createLink(from.getLink(i));
}

struct Reflection
{
    NewEmitter source;
    std::unique_ptr<Emitter> copy;
    std::unique_ptr<EmitterGuide> twin;

    // The first sync makes the copy and its empty guide; later ones mirror the source first.
    void sync()
    {
        if (!copy)
        {
            const std::vector<uint8_t> saved = saveEmitterPlain(source.e);
            copy = loadEmitterPlain(saved.data(), saved.size(), source.system);
            twin = std::make_unique<EmitterGuide>(*copy, Eg::Base::EmptyReflectionTag());
        }
        else
            mirror(*copy, source.e);
        twin->syncReflection(source.guide);
    }
};

// The blocks that the looks' sections and variants name themselves.
std::vector<Uuid> looksBlockIds(const EmitterGuide& g)
{
    std::vector<Uuid> ids;
    if (const RotationControlled* c = g.rotation().controlled())
    {
        ids.push_back(c->angleBlockId());
        if (c->axisBlockId())
            ids.push_back(*c->axisBlockId());
        if (const Eg::RotationAxisRandom* axis = c->randomAxis())
            ids.insert(ids.end(), {axis->randomBlockId(), axis->paramBlockId()});
        if (const auto* steady = dynamic_cast<const Eg::RotationChangeSteady*>(&c->change()))
            ids.insert(ids.end(), {steady->updaterBlockId(), steady->moveBlockId()});
        if (const auto* graph = dynamic_cast<const Eg::RotationChangeGraph*>(&c->change()))
            ids.push_back(graph->expressionBlockId());
    }
    if (const RotationVelocityFaced* f = g.rotation().velocityFaced())
        ids.push_back(f->blockId());
    if (const RotationVelocityFree* f = g.rotation().velocityFree())
        ids.push_back(f->blockId());
    if (const auto* mult = dynamic_cast<const Eg::SizeChangeGraph*>(&g.size().change()))
        ids.push_back(mult->expressionBlockId());
    return ids;
}

// Each value of the looks: kind, dimensions, validity and a fixed value's numbers; then the
// velocity rotations' soft axes and the grid.
std::vector<std::string> looksForm(const EmitterGuide& g)
{
    std::vector<Eg::Value*> values;
    const std::vector<Eg::Base*> sections = g.sections();
    for (size_t i = 5; i < sections.size(); ++i)
        sections[i]->collectValues(values);
    std::vector<std::string> form;
    for (const Eg::Value* v : values)
    {
        std::string text = std::string(Eg::Value::typeName(v->type())) + " " +
                           std::to_string(v->dimensions()) + (v->isValid() ? " valid" : " invalid");
        if (const auto* fixed = dynamic_cast<const Eg::Value::FixedProp*>(&v->impl()))
            for (float f : fixed->values())
                text += " " + std::to_string(f);
        if (const auto* fixed = dynamic_cast<const Eg::Value::Fixed*>(&v->impl()))
            for (unsigned int i = 0; i < v->dimensions(); ++i)
                text += " " + std::to_string(fixed->value(i));
        form.push_back(text);
    }
    if (const RotationVelocityFaced* f = g.rotation().velocityFaced())
        form.push_back("faced soft axis " + std::to_string(f->softAxis().get()));
    if (const RotationVelocityFree* f = g.rotation().velocityFree())
    {
        const glm::vec3 a = f->softAxis().get();
        form.push_back("free type " + std::to_string(f->type()) + " soft axis " +
                       std::to_string(a.x) + " " + std::to_string(a.y) + " " + std::to_string(a.z));
    }
    if (const Eg::TexMappingGrid* grid = g.texMapping().grid())
        form.push_back("grid " + std::to_string(grid->gridWidth().get()) + " x " +
                       std::to_string(grid->gridHeight().get()));
    return form;
}

void expectTwinOfSource(Reflection& r)
{
    const EmitterGuide& source = r.source.guide;
    EmitterGuide& twin = *r.twin;
    EXPECT_TRUE(shapeOf(twin) == shapeOf(source));
    EXPECT_EQ(invalidSections(twin), invalidSections(source));
    const std::vector<Uuid> ids = looksBlockIds(twin);
    EXPECT_EQ(ids, looksBlockIds(source));
    for (const Uuid& id : ids)
        EXPECT_TRUE(r.copy->findBlockById(id));
    EXPECT_EQ(looksForm(twin), looksForm(source));
    // The twin finds its shape in the copy's graph and reads the same form back from it.
    twin.updateFromEmitter();
    EXPECT_TRUE(invalidSections(twin).empty()) << ::testing::PrintToString(invalidSections(twin));
    EXPECT_TRUE(shapeOf(twin) == shapeOf(source));
    EXPECT_EQ(looksForm(twin), looksForm(source));
}

TEST(GuideLooks, EveryKindAndItsChangeReachTheTwin)
{
    // Each kind is synced into a fresh twin, then changed in the source and synced into the
    // same twin: its variant objects are replaced by twins of the new kinds, and back.
    for (const SwitchCase& c : switchCases())
    {
        SCOPED_TRACE(c.what);
        Reflection r;
        for (const Action& prepare : c.prepare)
            ASSERT_TRUE(prepare(r.source));
        r.sync();
        expectTwinOfSource(r);
        ASSERT_TRUE(c.there(r.source));
        r.sync();
        expectTwinOfSource(r);
        ASSERT_TRUE(c.back(r.source));
        r.sync();
        expectTwinOfSource(r);
    }
}

TEST(GuideLooks, VelocityRotationsAndGridReachTheTwin)
{
    Reflection r;
    ASSERT_TRUE(r.source.guide.rotation().changeType(Rotation::T_VelocityFree));
    ASSERT_TRUE(r.source.guide.rotation().velocityFree()->changeType(RotationVelocityFree::T_ZX));
    ASSERT_TRUE(r.source.guide.texMapping().changeType(TexMapping::T_Grid));
    ASSERT_TRUE(r.source.guide.texMapping().grid()->changeGridWidth(4));
    r.sync();
    expectTwinOfSource(r);
    ASSERT_TRUE(r.source.guide.rotation().changeType(Rotation::T_VelocityFaced));
    ASSERT_TRUE(
        r.source.guide.rotation().velocityFaced()->setSoftAxis(RotationVelocityFaced::SA_Y));
    r.sync();
    expectTwinOfSource(r);
}

template <class T>
void expectOverrideKept(const Eg::Refl<T>& twin, const T& own, const T& base)
{
    EXPECT_EQ(twin.get(), own);
    EXPECT_TRUE(twin.isOverridden());
    EXPECT_EQ(twin.source(), base);
}

TEST(GuideLooks, OverridesInTheTwinStayWhileTheSourceMoves)
{
    Reflection r;
    EmitterGuide& source = r.source.guide;
    ASSERT_TRUE(source.rotation().changeType(Rotation::T_VelocityFree));
    ASSERT_TRUE(source.texMapping().changeType(TexMapping::T_Grid));
    r.sync();
    const glm::vec3 own(0.0f, 0.6f, 0.8f), base(0.8f, 0.0f, 0.6f);
    ASSERT_TRUE(r.twin->rotation().velocityFree()->setSoftAxis(own));
    ASSERT_TRUE(r.twin->texMapping().grid()->changeGridWidth(5));
    ASSERT_TRUE(source.rotation().velocityFree()->setSoftAxis(base));
    ASSERT_TRUE(source.texMapping().grid()->changeGridWidth(3));
    ASSERT_TRUE(source.texMapping().grid()->changeGridHeight(2));
    r.sync();
    expectOverrideKept(r.twin->rotation().velocityFree()->softAxis(), own, base);
    expectOverrideKept(r.twin->texMapping().grid()->gridWidth(), 5u, 3u);
    EXPECT_EQ(r.twin->texMapping().grid()->gridHeight().get(), 2u);
    EXPECT_FALSE(r.twin->texMapping().grid()->gridHeight().isOverridden());

    // The faced soft axis has two values: the base moves back under the twin's choice.
    ASSERT_TRUE(source.rotation().changeType(Rotation::T_VelocityFaced));
    r.sync();
    ASSERT_TRUE(r.twin->rotation().velocityFaced()->setSoftAxis(RotationVelocityFaced::SA_Y));
    ASSERT_TRUE(source.rotation().velocityFaced()->setSoftAxis(RotationVelocityFaced::SA_Y));
    r.sync();
    source.rotation().velocityFaced()->discardSoftAxis();
    r.sync();
    expectOverrideKept(r.twin->rotation().velocityFaced()->softAxis(),
                       static_cast<unsigned char>(RotationVelocityFaced::SA_Y),
                       static_cast<unsigned char>(RotationVelocityFaced::SA_X));
}

TEST(GuideLooks, TwinValuesWriteIntoTheCopysBlocksAndKeepTheirEdits)
{
    Reflection r;
    ASSERT_TRUE(r.source.controlled().changeChangeType(RotationControlled::CT_Steady));
    r.sync();
    auto fixedOf = [](const Eg::MultiValue& value) -> Eg::Value::FixedProp&
    { return dynamic_cast<Eg::Value::FixedProp&>(value.rowValue(0).impl()); };
    RotationControlled& twin = *r.twin->rotation().controlled();
    RotationControlled& source = r.source.controlled();
    auto& steady = dynamic_cast<Eg::RotationChangeSteady&>(twin.change());

    // The twin's builders name the twin's blocks, which are the copy's.
    ASSERT_TRUE(fixedOf(twin.startAngle()).changeValue(0, 45.0f));
    ASSERT_TRUE(fixedOf(steady.speed()).changeValue(0, 30.0f));
    const auto& copyAngle =
        static_cast<BlockParamUserFloat&>(r.copy->getBlockById(twin.angleBlockId()));
    const auto& sourceAngle =
        static_cast<BlockParamUserFloat&>(r.source.e.getBlockById(source.angleBlockId()));
    EXPECT_EQ(copyAngle.getValue(), 45.0f);
    EXPECT_EQ(sourceAngle.getValue(), 0.0f);
    EXPECT_EQ(
        static_cast<BlockFuncMove&>(r.copy->getBlockById(steady.moveBlockId())).getSpeed<float>(),
        30.0f);

    // The source's value moves the base only.
    ASSERT_TRUE(fixedOf(source.startAngle()).changeValue(0, 10.0f));
    r.sync();
    EXPECT_EQ(fixedOf(twin.startAngle()).value(0), 45.0f);
    EXPECT_EQ(fixedOf(twin.startAngle()).valueRefl().source()[0], 10.0f);
    EXPECT_EQ(fixedOf(steady.speed()).value(0), 30.0f);
}

TEST(GuideLooks, ABlockTheCopyLacksLeavesOnlyItsSectionInvalid)
{
    Reflection r;
    ASSERT_TRUE(r.source.controlled().changeChangeType(RotationControlled::CT_Steady));
    ASSERT_TRUE(r.source.guide.size().changeChangeType(Size::CT_Multiplier));
    r.sync();
    const auto& steady =
        dynamic_cast<const Eg::RotationChangeSteady&>(r.source.controlled().change());
    r.copy->removeBlock(steady.moveBlockId());
    r.twin->syncReflection(r.source.guide);
    const auto& twinSteady =
        dynamic_cast<const Eg::RotationChangeSteady&>(r.twin->rotation().controlled()->change());
    // No block reflects the source's: the twin names none, and gives up.
    EXPECT_EQ(twinSteady.moveBlockId(), Uuid{});
    EXPECT_EQ(twinSteady.updaterBlockId(), steady.updaterBlockId());
    r.twin->updateFromEmitter();
    EXPECT_EQ(invalidSections(*r.twin), std::vector<std::string>{"rotation"});
}

}  // namespace
