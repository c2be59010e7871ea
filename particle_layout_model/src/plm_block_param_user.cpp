#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_block_syncer.h"

namespace Plm
{

BlockParamUser::BlockParamUser()
    : name_(*this, false, std::string("<my param>")), sharedBurst_(*this, false, false)
{
}

BlockParamUser::BlockParamUser(LoadFlag flag) : BlockParam(flag), name_(*this), sharedBurst_(*this)
{
}

BlockParamUser::BlockParamUser(const BlockParamUser& other)
    : BlockParam(other), name_(*this, other.name_), sharedBurst_(*this, other.sharedBurst_)
{
}

const BlockParamUser* BlockParamUser::castToThis(const Block* block)
{
    if (!block)
        return nullptr;
    const BlockParam* param = block->castToBlockParam();
    return param ? param->castToBlockParamUser() : nullptr;
}

BlockParamUser* BlockParamUser::castToThis(Block* block)
{
    if (!block)
        return nullptr;
    BlockParam* param = block->castToBlockParam();
    return param ? param->castToBlockParamUser() : nullptr;
}

void BlockParamUser::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group(saver, 1);
    name_.save("name", saver);
    sharedBurst_.save("shared_burst", saver);
}

void BlockParamUser::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 1);
    name_.load(loader);
    sharedBurst_.load(loader);
    // Version 0 kept one more group here that nothing reads any longer.
    if (group.version() == 0)
        loader.skipGroup();
}

void BlockParamUser::syncUserProps(const BlockSyncer& syncer)
{
    syncer.syncProp(&BlockParamUser::name_);
    syncer.syncProp(&BlockParamUser::sharedBurst_);
}

}  // namespace Plm
