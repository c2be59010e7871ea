#include "particle_layout_model/plm_block_param_lifetime.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

std::unique_ptr<BlockParamLifetime> BlockParamLifetime::create()
{
    std::unique_ptr<BlockParamLifetime> block(new BlockParamLifetime());
    block->updateConnectors();
    return block;
}

void BlockParamLifetime::updateConnectors()
{
    const BlockConnectorDesc out = outputDesc(CT_Float, 0);
    resetConnectors(&out, 1);
}

std::unique_ptr<Block> BlockParamLifetime::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockParamLifetime(*this));
}

void BlockParamLifetime::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(0, 0);
    // The age lives in the particle data: nothing to store.
    const ExportBin::OperationScope operation(compiler, Ps::OF_ParameterLifetime);
}

void BlockParamLifetime::syncReflectionImpl(const BlockSyncer& syncer)
{
    // No properties.
}

}  // namespace Plm
