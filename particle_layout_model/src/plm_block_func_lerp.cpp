#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

template <>
const char* BlockFuncLerp<float>::factoryNameText()
{
    return "func_lerp_float";
}
template <>
const char* BlockFuncLerp<glm::vec2>::factoryNameText()
{
    return "func_lerp_vec2";
}
template <>
const char* BlockFuncLerp<glm::vec3>::factoryNameText()
{
    return "func_lerp_vec3";
}

template <class T>
BlockFuncLerp<T>::BlockFuncLerp()
    : from_(*this, true, ValueTraits<T>::zero()),
      to_(*this, true, ValueTraits<T>::zero()),
      interp_(*this, true, 0.0f)
{
}

template <class T>
BlockFuncLerp<T>::BlockFuncLerp(LoadFlag flag)
    : BlockFunc(flag), from_(*this), to_(*this), interp_(*this)
{
}

template <class T>
BlockFuncLerp<T>::BlockFuncLerp(const BlockFuncLerp& other)
    : BlockFunc(other),
      from_(*this, other.from_),
      to_(*this, other.to_),
      interp_(*this, other.interp_)
{
}

template <class T>
std::unique_ptr<BlockFuncLerp<T>> BlockFuncLerp<T>::create()
{
    std::unique_ptr<BlockFuncLerp> block(new BlockFuncLerp());
    block->updateConnectors();
    return block;
}

template <class T>
void BlockFuncLerp<T>::updateConnectors()
{
    const EnumConnectorType type = ValueTraits<T>::connectorType;
    std::vector<BlockConnectorDesc> descs{outputDesc(type, 3)};
    addInputIfExternal(descs, from_, type, 0);
    addInputIfExternal(descs, to_, type, 1);
    addInputIfExternal(descs, interp_, CT_Float, 2);
    resetConnectors(descs);
}

template <class T>
std::unique_ptr<Block> BlockFuncLerp<T>::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncLerp(*this));
}

template <class T>
void BlockFuncLerp<T>::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(factoryNameText(), saver, 0);
    from_.save("from", saver);
    to_.save("to", saver);
    interp_.save("interp", saver);
}

template <class T>
void BlockFuncLerp<T>::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    from_.load(loader);
    to_.load(loader);
    interp_.load(loader);
}

template <class T>
void BlockFuncLerp<T>::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(3, 0);
    ExportBin::OperationScope operation(compiler, ExportBin::typedFactory<T>(Ps::OF_FuncLerpFloat));
    compiler.writeInput(*this, "from", from_, 0);
    compiler.writeInput(*this, "to", to_, 1);
    compiler.writeInput(*this, "interp", interp_, 2);
}

template <class T>
void BlockFuncLerp<T>::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncLerp::from_);
    syncer.syncProp(&BlockFuncLerp::to_);
    syncer.syncProp(&BlockFuncLerp::interp_);
}

template class BlockFuncLerp<float>;
template class BlockFuncLerp<glm::vec2>;
template class BlockFuncLerp<glm::vec3>;

}  // namespace Plm
