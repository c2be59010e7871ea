#include "particle_layout_model/plm_export_compiler_text.h"

#include <string>
#include <vector>

#include "expression/expr2cs.h"
#include "expression/expr2js.h"
#include "particle_layout_model/plm_block_construct_strip.h"
#include "particle_layout_model/plm_block_func_expression.h"

namespace Plm
{

namespace
{

using Convert = Expr::Translator::Result (*)(const std::string&,
                                             const std::vector<Expr::Translator::InputDesc>&,
                                             unsigned*, std::string*);

// The rules that the text targets add to the base's: no strip constructor, and an expression
// that translates, over its declared inputs and "dt", to its declared output type.
bool assertTextBlock(const EmitterExportValidityChecker& base, const Block& block, Convert convert)
{
    if (dynamic_cast<const BlockConstructStrip*>(&block))
        return false;
    if (!base.EmitterExportValidityChecker::assertBlock(block))
        return false;
    const auto* expression = dynamic_cast<const BlockFuncExpression*>(&block);
    if (!expression)
        return true;
    std::vector<Expr::Translator::InputDesc> inputs;
    for (unsigned int i = 0; i < expression->getNumInputs(); ++i)
    {
        const std::string& name = expression->getInputName(i);
        inputs.push_back({name, convertPlmToExprValueType(expression->getInputType(i)), name});
    }
    inputs.push_back({"dt", Expr::VT_Float, "dt"});
    const Expr::Translator::Result result =
        convert(expression->getExpression(), inputs, nullptr, nullptr);
    return result && convertExprToPlmValueType(result->first) == expression->getOutputType();
}

}  // namespace

std::shared_ptr<SystemExportCompilerJs> SystemExportCompilerJs::create(const System& system)
{
    std::shared_ptr<SystemExportCompilerJs> compiler(new SystemExportCompilerJs(system));
    compiler->initialize();
    return compiler;
}

std::shared_ptr<EmitterExportCompilerBase>
SystemExportCompilerJs::createEmitterExporter(const Emitter& emitter)
{
    auto compiler = std::make_shared<EmitterExportCompilerJs>(*this, emitter);
    compiler->initialize();
    return compiler;
}

std::shared_ptr<SystemExportCompilerCs> SystemExportCompilerCs::create(const System& system,
                                                                       EnumCsExportType type)
{
    std::shared_ptr<SystemExportCompilerCs> compiler(new SystemExportCompilerCs(system, type));
    compiler->initialize();
    return compiler;
}

std::shared_ptr<EmitterExportCompilerBase>
SystemExportCompilerCs::createEmitterExporter(const Emitter& emitter)
{
    auto compiler = std::make_shared<EmitterExportCompilerCs>(*this, emitter);
    compiler->initialize();
    return compiler;
}

EmitterExportCompilerJs::EmitterExportCompilerJs(const SystemExportCompilerJs& system,
                                                 const Emitter& emitter)
    : EmitterExportCompilerOld(emitter, [&system](const Emitter& attached)
                               { return system.hasEmitter(attached); }),
      system_(system)
{
}

bool EmitterExportCompilerJs::assertBlock(const Block& block) const
{
    return assertTextBlock(*this, block, &Expr2Js::convert);
}

EmitterExportCompilerCs::EmitterExportCompilerCs(const SystemExportCompilerCs& system,
                                                 const Emitter& emitter)
    : EmitterExportCompilerNew(emitter, [&system](const Emitter& attached)
                               { return system.hasEmitter(attached); }),
      system_(system)
{
}

bool EmitterExportCompilerCs::assertBlock(const Block& block) const
{
    return assertTextBlock(*this, block, &Expr2Cs::convert);
}

}  // namespace Plm
