#include "particle_layout_model/plm_block_func_direction.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

template <>
const char* BlockFuncDirection<glm::vec2>::factoryNameText()
{
    return "func_direction_vec2";
}
template <>
const char* BlockFuncDirection<glm::vec3>::factoryNameText()
{
    return "func_direction_vec3";
}

template <class T>
BlockFuncDirection<T>::BlockFuncDirection()
    : from_(*this, true, ValueTraits<T>::zero()),
      to_(*this, true, ValueTraits<T>::zero()),
      length_(*this, false, 1.0f)
{
}

template <class T>
BlockFuncDirection<T>::BlockFuncDirection(LoadFlag flag)
    : BlockFunc(flag), from_(*this), to_(*this), length_(*this)
{
}

template <class T>
BlockFuncDirection<T>::BlockFuncDirection(const BlockFuncDirection& other)
    : BlockFunc(other),
      from_(*this, other.from_),
      to_(*this, other.to_),
      length_(*this, other.length_)
{
}

template <class T>
std::unique_ptr<BlockFuncDirection<T>> BlockFuncDirection<T>::create()
{
    std::unique_ptr<BlockFuncDirection> block(new BlockFuncDirection());
    block->updateConnectors();
    return block;
}

template <class T>
void BlockFuncDirection<T>::updateConnectors()
{
    const EnumConnectorType type = ValueTraits<T>::connectorType;
    std::vector<BlockConnectorDesc> descs{outputDesc(type, 3)};
    addInputIfExternal(descs, from_, type, 0);
    addInputIfExternal(descs, to_, type, 1);
    addInputIfExternal(descs, length_, CT_Float, 2);
    resetConnectors(descs);
}

template <class T>
std::unique_ptr<Block> BlockFuncDirection<T>::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncDirection(*this));
}

template <class T>
void BlockFuncDirection<T>::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(factoryNameText(), saver, 0);
    from_.save("from", saver);
    to_.save("to", saver);
    length_.save("length", saver);
}

template <class T>
void BlockFuncDirection<T>::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    from_.load(loader);
    to_.load(loader);
    length_.load(loader);
}

template <class T>
void BlockFuncDirection<T>::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(3, 0);
    ExportBin::OperationScope operation(
        compiler, ExportBin::typedFactory<T, glm::vec2>(Ps::OF_FuncDirectionVec2));
    compiler.writeInput(*this, "from", from_, 0);
    compiler.writeInput(*this, "to", to_, 1);
    compiler.writeInput(*this, "length", length_, 2);
}

template <class T>
void BlockFuncDirection<T>::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncDirection::from_);
    syncer.syncProp(&BlockFuncDirection::to_);
    syncer.syncProp(&BlockFuncDirection::length_);
}

template class BlockFuncDirection<glm::vec2>;
template class BlockFuncDirection<glm::vec3>;

}  // namespace Plm
