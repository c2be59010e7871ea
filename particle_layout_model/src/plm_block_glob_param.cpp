#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_syncer.h"
#include "particle_layout_model/plm_block_param.h"

namespace Plm
{

BlockGlobParam::BlockGlobParam() : globParamId_(*this, false, BoostExt::generateUuid()) {}

BlockGlobParam::BlockGlobParam(LoadFlag flag) : BlockGlob(flag), globParamId_(*this) {}

BlockGlobParam::BlockGlobParam(const BlockGlobParam& other)
    : BlockGlob(other), globParamId_(*this, other.globParamId_)
{
}

void BlockGlobParam::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("glob_glob_param", saver, 0);
    globParamId_.save("glob_param_id", saver);
}

void BlockGlobParam::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    globParamId_.load(loader);
}

void BlockGlobParam::syncGlobParamProps(const BlockSyncer& syncer)
{
    syncer.syncProp(&BlockGlobParam::globParamId_);
}

}  // namespace Plm
