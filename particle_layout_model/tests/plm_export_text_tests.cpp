// The checks of the text targets against the binary target's: what each marks.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_block_terminator.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_export_compiler_text.h"
#include "particle_layout_model/plm_system.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;

// Whether each target marks `block`: binary, JavaScript, C#, Unity.
std::vector<bool> marks(const System& system, const Emitter& emitter, const Block& block)
{
    std::vector<std::shared_ptr<SystemExportCompiler>> compilers{
        SystemExportCompilerBin::create(system), SystemExportCompilerJs::create(system),
        SystemExportCompilerCs::create(system, CET_Generic),
        SystemExportCompilerCs::create(system, CET_Unity)};
    std::vector<bool> result;
    for (const auto& compiler : compilers)
    {
        const EmitterExportCompilerBase* failed =
            compiler->getErrorEmitterExporter(emitter.getId());
        result.push_back(failed && failed->hasErrorBlock(block.getId()));
    }
    return result;
}

// An expression over the given inputs, read by the positioner (vec3) or the terminator (float).
BlockFuncExpression&
addExpression(Emitter& e, const std::string& text,
              const std::vector<std::pair<std::string, EnumConnectorType>>& inputs)
{
    auto& expression =
        static_cast<BlockFuncExpression&>(e.addBlock(PlmTest::createByName("func_expression")));
    expression.setNumInputs(static_cast<unsigned int>(inputs.size()));
    for (unsigned int i = 0; i < inputs.size(); ++i)
    {
        expression.setInputName(i, inputs[i].first);
        expression.setInputType(i, inputs[i].second);
    }
    expression.setExpression(text);
    if (expression.getOutputType() == CT_Vec3)
        e.createLink(expression, 0, e.positionerBlocks()[0], 0);
    else
        e.createLink(expression, 0, e.terminatorBlocks()[0], 1);
    return expression;
}

TEST(ExportText, EachTargetMarksWhatItCantExport)
{
    const std::vector<bool> none{false, false, false, false};
    const std::vector<bool> textOnly{false, true, true, true};
    const std::vector<bool> all{true, true, true, true};
    struct Case
    {
        const char* what;
        std::function<const Block&(Emitter&)> add;
        std::vector<bool> expected;
    } cases[] = {
        {"a strip constructor",
         [](Emitter& e) -> const Block&
         { return e.addBlock(PlmTest::createByName("construct_strip")); },
         textOnly},
        {"\"%\", which only the byte code has",
         [](Emitter& e) -> const Block& {
             return addExpression(e, "a % b", {{"a", CT_Float}, {"b", CT_Float}});
         },
         textOnly},
        {"lerp of two vec3 by a float",
         [](Emitter& e) -> const Block& {
             return addExpression(e, "lerp(a, b, t)",
                                  {{"a", CT_Vec3}, {"b", CT_Vec3}, {"t", CT_Float}});
         },
         none},
        {"lerp of two vec3 by a vec3",
         [](Emitter& e) -> const Block& {
             return addExpression(e, "lerp(a, b, t)",
                                  {{"a", CT_Vec3}, {"b", CT_Vec3}, {"t", CT_Vec3}});
         },
         all},
        {"the time step, which every target knows",
         [](Emitter& e) -> const Block& { return addExpression(e, "dt * 2", {}); }, none},
    };
    for (const Case& c : cases)
    {
        System system;
        Emitter& e = system.addEmitter(Emitter::create("e"));
        const Block& block = c.add(e);
        EXPECT_EQ(marks(system, e, block), c.expected) << c.what;
    }
}

TEST(ExportText, CSharpNeedsATerminatorAndTheRuleVersionsAreStated)
{
    System system;
    Emitter& e = system.addEmitter(Emitter::create("e"));
    EXPECT_EQ(SystemExportCompilerJs::create(system)->getNumValidEmitters(), 1u);
    EXPECT_EQ(SystemExportCompilerCs::create(system, CET_Unity)->getNumValidEmitters(), 1u);
    e.removeBlock(e.terminatorBlocks().getId(0));
    EXPECT_EQ(SystemExportCompilerJs::create(system)->getNumValidEmitters(), 1u);
    const auto cs = SystemExportCompilerCs::create(system, CET_Generic);
    EXPECT_TRUE(cs->hasErrorEmitter(e.getId()));
    EXPECT_EQ(cs->type(), CET_Generic);
    EXPECT_EQ(SystemExportCompilerJs::validatorVersion(), 1u);
    EXPECT_EQ(SystemExportCompilerCs::validatorVersion(), 0u);
}

}  // namespace
