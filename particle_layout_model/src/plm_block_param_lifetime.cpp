#include "particle_layout_model/plm_block_param_lifetime.h"

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

}  // namespace Plm
