#include "particle_layout_model/plm_blocks_factory.h"

#include "particle_layout_model/plm_block.h"

namespace Plm
{

const BlocksFactory& BlocksFactory::instance()
{
    static const BlocksFactory factory;
    return factory;
}

BlocksFactory::BlocksFactory()
{
    registerFunctionBlocks(*this);
    registerStructuralBlocks(*this);
    registerParameterBlocks(*this);
}

std::unique_ptr<Block> BlocksFactory::createForLoadByName(const CrcString& name) const
{
    auto it = factories_.find(name);
    return it == factories_.end() ? nullptr : it->second.createForLoad();
}

std::unique_ptr<Block> BlocksFactory::createDefaultByName(const CrcString& name) const
{
    auto it = factories_.find(name);
    return it == factories_.end() ? nullptr : it->second.createDefault();
}

}  // namespace Plm
