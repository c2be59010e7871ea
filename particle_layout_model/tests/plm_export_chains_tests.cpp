// The walk from an emitter's graph to its chains, and what it records as errors.
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_func_area.h"
#include "particle_layout_model/plm_block_terminator.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_gen_periodic.h"
#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_export_chains.h"
#include "particle_layout_model/plm_system.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;

const Block* firstOfKind(const Emitter& e, const std::string& name)
{
    for (const Block& block : e.allBlocks())
        if (block.getFactoryName().str() == name)
            return &block;
    return nullptr;
}

std::vector<std::string> kindsOf(const std::vector<BlockOp>& ops)
{
    std::vector<std::string> names;
    for (const BlockOp& op : ops)
        names.push_back(op.block->getFactoryName().str() +
                        (op.operId ? "#" + std::to_string(op.operId) : ""));
    return names;
}

template <class Compiler>
std::unique_ptr<Compiler> compile(const Emitter& e)
{
    auto compiler = std::make_unique<Compiler>(e, [](const Emitter&) { return true; });
    compiler->initialize();
    return compiler;
}

struct NewEmitter
{
    System system;
    Emitter& e = system.addEmitter(Emitter::create("e"));
    Block& add(const char* name) { return e.addBlock(PlmTest::createByName(name)); }
    const Block& terminator() const { return e.terminatorBlocks()[0]; }
    const Block& construct() const { return e.constructBlocks()[0]; }
};

TEST(ExportChains, NewEmitterCompilesInTheOrderOfItsGraph)
{
    NewEmitter n;
    const auto old = compile<EmitterExportCompilerOld>(n.e);
    EXPECT_FALSE(old->hasError());
    // Every block of a new emitter is one operation of the compiled emitter, but the age
    // expression of the terminator, which only values over the particle's life read.
    EXPECT_EQ(old->activeBlocks().size(), n.e.allBlocks().size() - 1);
    const Block& age = *firstOfKind(n.e, "func_expression");
    EXPECT_EQ(std::count(old->activeBlocks().begin(), old->activeBlocks().end(), BlockOp{&age, 0}),
              0);
    // The generator is driven by the runtime: active, never chained.
    EXPECT_EQ(old->generatorChain().getNumChainedBlockOps(), 0u);
    EXPECT_TRUE(old->generatorChain().hasActiveBlockOp(*firstOfKind(n.e, "gen_periodic"), 0));
    // What a parameter reads at birth stands before it; the positioner comes last.
    EXPECT_EQ(kindsOf(old->initChain().chainedBlockOps()),
              (std::vector<std::string>{"func_distrib_vec3", "param_position", "func_random_vec",
                                        "param_velocity", "param_user_float", "positioner"}));
    EXPECT_EQ(kindsOf(old->updateChain().chainedBlockOps()),
              (std::vector<std::string>{"param_lifetime", "func_move", "param_user_updater",
                                        "positioner"}));
    EXPECT_EQ(kindsOf(old->terminatorChain().chainedBlockOps()),
              std::vector<std::string>{"func_distrib_float"});
    EXPECT_EQ(kindsOf(old->constructChain().chainedBlockOps()),
              std::vector<std::string>{"func_distrib_float"});
    // The C# target's four chains hold the same operations.
    const auto cs = compile<EmitterExportCompilerNew>(n.e);
    EXPECT_FALSE(cs->hasError());
    EXPECT_EQ(cs->activeBlocks().size(), old->activeBlocks().size());
}

TEST(ExportChains, ErrorsAreRecordedAndTheWalkGoesOn)
{
    {
        SCOPED_TRACE("two functions feeding each other: the closing link, not the blocks");
        NewEmitter n;
        Block& a = n.add("func_lerp_float");
        Block& b = n.add("func_lerp_float");
        n.e.createLink(a, 3, b, 2);
        n.e.createLink(b, 3, a, 2);
        n.e.createLink(a, 3, n.terminator(), 1);
        const auto c = compile<EmitterExportCompilerOld>(n.e);
        EXPECT_TRUE(c->hasErrorLink(BlockLink{a.getConnectorById(3), b.getConnectorById(2)}));
        EXPECT_FALSE(c->hasErrorBlock(a.getId()));
        EXPECT_FALSE(c->hasErrorBlock(b.getId()));
    }
    {
        SCOPED_TRACE("a generator reading a particle parameter: the parameter is marked");
        NewEmitter n;
        auto& generator = const_cast<BlockGenPeriodic&>(
            static_cast<const BlockGenPeriodic&>(*firstOfKind(n.e, "gen_periodic")));
        generator.setRateExternal(true);
        const Block& angle = *firstOfKind(n.e, "param_user_float");
        ASSERT_TRUE(n.e.createLink(angle, 1, generator, 0));
        const auto c = compile<EmitterExportCompilerOld>(n.e);
        EXPECT_TRUE(c->hasErrorBlock(angle.getId()));
    }
    {
        SCOPED_TRACE("an expression that doesn't parse: marked, its inputs not walked");
        NewEmitter n;
        auto& expression = static_cast<BlockFuncExpression&>(n.add("func_expression"));
        expression.setNumInputs(1u);
        expression.setExpression(std::string("a +"));
        n.e.createLink(expression, 0, n.terminator(), 1);
        const auto c = compile<EmitterExportCompilerOld>(n.e);
        EXPECT_TRUE(c->hasErrorBlock(expression.getId()));
        EXPECT_FALSE(c->hasErrorConnector(expression.getConnectorById(1)));
    }
    {
        SCOPED_TRACE("an input left open: the connector is marked, the block still chained");
        NewEmitter n;
        Block& lerp = n.add("func_lerp_float");
        n.e.createLink(lerp, 3, n.terminator(), 1);
        const auto c = compile<EmitterExportCompilerOld>(n.e);
        EXPECT_TRUE(c->hasErrorConnector(lerp.getConnectorById(2)));
        EXPECT_TRUE(c->terminatorChain().hasChainedBlockOp(lerp, 0));
    }
    {
        SCOPED_TRACE("a constructor that isn't exported adds nothing and may stay open");
        NewEmitter n;
        auto& construct = const_cast<BlockConstructQuads&>(
            static_cast<const BlockConstructQuads&>(n.construct()));
        construct.setExportable(false);
        n.e.clearNonReflectedConnector(construct.getConnectorById(3));
        const auto c = compile<EmitterExportCompilerOld>(n.e);
        EXPECT_FALSE(c->hasError());
        EXPECT_EQ(c->constructChain().getNumActiveBlockOps(), 0u);
    }
    {
        SCOPED_TRACE("an area read through its square output needs no inputs");
        NewEmitter n;
        Block& area = n.add("func_area");
        n.e.createLink(area, 2, n.terminator(), 1);
        const auto c = compile<EmitterExportCompilerOld>(n.e);
        EXPECT_FALSE(c->hasError());
        EXPECT_TRUE(c->terminatorChain().hasActiveBlockOp(area, 1));
        EXPECT_FALSE(c->terminatorChain().hasChainedBlockOp(area, 1));
    }
    {
        SCOPED_TRACE("an attached emitter with none chosen is passed over");
        NewEmitter n;
        Block& attach = n.add("param_emitter");
        const auto c = compile<EmitterExportCompilerOld>(n.e);
        EXPECT_FALSE(c->hasError());
        EXPECT_TRUE(c->validConnectedEmitters().empty());
        EXPECT_FALSE(c->initChain().hasActiveBlockOp(attach, 0));
    }
    {
        SCOPED_TRACE("a function read by two chains stands once in the operation list");
        NewEmitter n;
        auto& lerp = static_cast<BlockFuncLerpFloat&>(n.add("func_lerp_float"));
        // A constant: nothing to read.
        lerp.setFromExternal(false);
        lerp.setToExternal(false);
        lerp.setInterpExternal(false);
        n.e.createLink(lerp, 3, n.terminator(), 1);
        n.e.createLink(lerp, 3, n.construct(), 3);
        const auto c = compile<EmitterExportCompilerOld>(n.e);

        EXPECT_FALSE(c->hasError());
        EXPECT_TRUE(c->terminatorChain().hasChainedBlockOp(lerp, 0));
        EXPECT_TRUE(c->constructChain().hasChainedBlockOp(lerp, 0));
        EXPECT_EQ(std::count(c->activeBlocks().begin(), c->activeBlocks().end(), BlockOp{&lerp, 0}),
                  1);
    }
    {
        SCOPED_TRACE("a parameter read at birth by one that stands before it");
        NewEmitter n;
        auto& early = static_cast<BlockParamUser&>(n.add("param_user_float"));
        auto& late = static_cast<BlockParamUser&>(n.add("param_user_float"));
        early.setValueExternal(true);
        late.setValueExternal(true);
        n.e.createLink(late, 1, early, 0);
        n.e.createLink(early, 1, late, 0);
        const auto c = compile<EmitterExportCompilerOld>(n.e);
        EXPECT_TRUE(
            c->hasErrorLink(BlockLink{late.getConnectorById(1), early.getConnectorById(0)}));
        EXPECT_FALSE(
            c->hasErrorLink(BlockLink{early.getConnectorById(1), late.getConnectorById(0)}));
    }
}

TEST(ExportChains, ATerminatorIsNeededOnlyByTheCSharpTarget)
{
    NewEmitter n;
    n.e.removeBlock(n.terminator().getId());
    EXPECT_FALSE(compile<EmitterExportCompilerOld>(n.e)->hasError());
    const auto cs = compile<EmitterExportCompilerNew>(n.e);
    EXPECT_TRUE(cs->hasUnknownError());
    EXPECT_TRUE(cs->errorBlocks().empty());
    // Without a generator no target compiles.
    n.e.removeBlock(n.e.generatorBlocks().getId(0));
    EXPECT_TRUE(compile<EmitterExportCompilerOld>(n.e)->hasUnknownError());
}

}  // namespace
