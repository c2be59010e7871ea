#include "particle_layout_model/plm_block_glob_param_typed.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "particle_layout_model/plm_emitter.h"

#include "plm_export_block_writers.h"

namespace Plm
{

template <>
const char* BlockGlobParamTyped<float>::factoryNameText()
{
    return "glob_param_float";
}
template <>
const char* BlockGlobParamTyped<glm::vec2>::factoryNameText()
{
    return "glob_param_vec2";
}
template <>
const char* BlockGlobParamTyped<glm::vec3>::factoryNameText()
{
    return "glob_param_vec3";
}
template <>
const char* BlockGlobParamTyped<glm::quat>::factoryNameText()
{
    return "glob_param_quat";
}

template <class T>
BlockGlobParamTyped<T>::BlockGlobParamTyped()
    : name_(*this, false, std::string()), value_(*this, false, ValueTraits<T>::zero())
{
}

template <class T>
BlockGlobParamTyped<T>::BlockGlobParamTyped(LoadFlag flag)
    : BlockGlobParam(flag), name_(*this), value_(*this)
{
}

template <class T>
BlockGlobParamTyped<T>::BlockGlobParamTyped(const BlockGlobParamTyped& other)
    : BlockGlobParam(other), name_(*this, other.name_), value_(*this, other.value_)
{
}

template <class T>
std::unique_ptr<BlockGlobParamTyped<T>> BlockGlobParamTyped<T>::create()
{
    std::unique_ptr<BlockGlobParamTyped> block(new BlockGlobParamTyped());
    block->updateConnectors();
    return block;
}

template <class T>
void BlockGlobParamTyped<T>::setName(const boost::optional<std::string>& name)
{
    name_.set(name);
    notifyPropChanged(false);
    if (Emitter* emitter = getEmitter())
        emitter->notifyGlobalParametersUpdated();
}

template <class T>
void BlockGlobParamTyped<T>::updateConnectors()
{
    const BlockConnectorDesc out = outputDesc(ValueTraits<T>::connectorType, 0);
    resetConnectors(&out, 1);
}

template <class T>
std::unique_ptr<Block> BlockGlobParamTyped<T>::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockGlobParamTyped(*this));
}

template <class T>
void BlockGlobParamTyped<T>::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockGlobParam::saveImpl(saver);
    Sl::ScopedSaverGroup group(factoryNameText(), saver, 0);
    name_.save("name", saver);
    value_.save("value", saver);
}

template <class T>
void BlockGlobParamTyped<T>::loadImpl(Sl::RevisionLoader& loader)
{
    BlockGlobParam::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    name_.load(loader);
    value_.load(loader);
}

template <class T>
void BlockGlobParamTyped<T>::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(0, 0);
    const ExportBin::OperationScope operation(compiler,
                                              ExportBin::typedFactory<T>(Ps::OF_GlobParamFloat));
    Sl::Saver& saver = operation.saver();
    // The value until an emitter that attaches this one feeds it.
    ExportBin::writeValue(saver, "default_value", getValue());
}

template <class T>
void BlockGlobParamTyped<T>::syncReflectionImpl(const BlockSyncer& syncer)
{
    syncGlobParamProps(syncer);
    syncer.syncProp(&BlockGlobParamTyped::name_);
    syncer.syncProp(&BlockGlobParamTyped::value_);
}

template class BlockGlobParamTyped<float>;
template class BlockGlobParamTyped<glm::vec2>;
template class BlockGlobParamTyped<glm::vec3>;
template class BlockGlobParamTyped<glm::quat>;

}  // namespace Plm
