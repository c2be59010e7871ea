#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

template <>
const char* BlockParamUserTyped<float>::typedGroupName()
{
    return "param_user_float";
}
template <>
const char* BlockParamUserTyped<glm::vec2>::typedGroupName()
{
    return "param_user_vec2";
}
template <>
const char* BlockParamUserTyped<glm::vec3>::typedGroupName()
{
    return "param_user_vec3";
}
template <>
const char* BlockParamUserTyped<glm::quat>::typedGroupName()
{
    return "param_user_quat";
}

template <class T>
BlockParamUserTyped<T>::BlockParamUserTyped() : init_(*this, true, ValueTraits<T>::zero())
{
}

template <class T>
BlockParamUserTyped<T>::BlockParamUserTyped(LoadFlag flag) : BlockParamUser(flag), init_(*this)
{
}

template <class T>
BlockParamUserTyped<T>::BlockParamUserTyped(const BlockParamUserTyped& other)
    : BlockParamUser(other), init_(*this, other.init_), typedGroupVersion_(other.typedGroupVersion_)
{
}

template <class T>
std::unique_ptr<BlockParamUserTyped<T>> BlockParamUserTyped<T>::create()
{
    std::unique_ptr<BlockParamUserTyped> block(new BlockParamUserTyped());
    block->updateConnectors();
    return block;
}

template <class T>
void BlockParamUserTyped<T>::setValueExternal(bool external)
{
    init_.setExternal(external);
    notifyPropChanged(true);
}

template <class T>
void BlockParamUserTyped<T>::updateConnectors()
{
    const EnumConnectorType type = ValueTraits<T>::connectorType;
    std::vector<BlockConnectorDesc> descs{outputDesc(type, 1)};
    addInputIfExternal(descs, init_, type, 0);
    resetConnectors(descs);
}

template <class T>
std::unique_ptr<Block> BlockParamUserTyped<T>::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockParamUserTyped(*this));
}

template <class T>
void BlockParamUserTyped<T>::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockParamUser::saveImpl(saver);
    Sl::ScopedSaverGroup group(typedGroupName(), saver, kTypedGroupVersion);
    init_.save("init", saver);
}

template <class T>
void BlockParamUserTyped<T>::loadImpl(Sl::RevisionLoader& loader)
{
    BlockParamUser::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, kTypedGroupVersion);
    init_.load(loader);
    typedGroupVersion_ = group.version();
}

template <class T>
void BlockParamUserTyped<T>::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(1, 0);
    const ExportBin::OperationScope operation(compiler,
                                              ExportBin::typedFactory<T>(Ps::OF_ParameterFloat));
    compiler.writeInput(*this, "input", init_, 0);
}

template <class T>
void BlockParamUserTyped<T>::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncUserProps(syncer);
    syncer.syncProp(&BlockParamUserTyped::init_);
}

template class BlockParamUserTyped<float>;
template class BlockParamUserTyped<glm::vec2>;
template class BlockParamUserTyped<glm::vec3>;
template class BlockParamUserTyped<glm::quat>;

}  // namespace Plm
