#include "particle_layout_model/plm_block_func_random_vec.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncRandomVec::BlockFuncRandomVec(EnumVectorTypes type)
    : type_(*this, false, type), radius_(*this, false, 1.0f)
{
}

BlockFuncRandomVec::BlockFuncRandomVec(LoadFlag flag)
    : BlockFunc(flag), type_(*this), radius_(*this)
{
}

BlockFuncRandomVec::BlockFuncRandomVec(const BlockFuncRandomVec& other)
    : BlockFunc(other), type_(*this, other.type_), radius_(*this, other.radius_)
{
}

std::unique_ptr<BlockFuncRandomVec> BlockFuncRandomVec::create(EnumVectorTypes type)
{
    std::unique_ptr<BlockFuncRandomVec> block(new BlockFuncRandomVec(type));
    block->updateConnectors();
    return block;
}

void BlockFuncRandomVec::setType(const boost::optional<EnumVectorTypes>& type)
{
    if (!wouldPropChange(type_, type))
        return;
    type_.set(type);
    updateConnectors();
    notifyPropChanged(true);
}

void BlockFuncRandomVec::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(getOutputType(), 1)};
    addInputIfExternal(descs, radius_, CT_Float, 0);
    resetConnectors(descs);
}

std::unique_ptr<Block> BlockFuncRandomVec::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncRandomVec(*this));
}

void BlockFuncRandomVec::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    type_.save("type", saver);
    radius_.save("radius", saver);
}

void BlockFuncRandomVec::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    type_.load(loader);
    radius_.load(loader);
}

void BlockFuncRandomVec::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(1, 0);
    ExportBin::OperationScope operation(compiler, type_.get() == VT_Vec2 ? Ps::OF_FuncRandomVec2
                                                                         : Ps::OF_FuncRandomVec3);
    compiler.writeInput(*this, "radius", radius_, 0);
}

void BlockFuncRandomVec::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncRandomVec::type_);
    syncer.syncProp(&BlockFuncRandomVec::radius_);
}

}  // namespace Plm
