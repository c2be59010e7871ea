#include "particle_layout_model/plm_block_func_distrib.h"
#include "particle_layout_model/plm_block_syncer.h"

#include <algorithm>

#include "plm_export_block_writers.h"

namespace Plm
{

template <>
const char* BlockFuncDistrib<float>::factoryNameText()
{
    return "func_distrib_float";
}
template <>
const char* BlockFuncDistrib<glm::vec2>::factoryNameText()
{
    return "func_distrib_vec2";
}
template <>
const char* BlockFuncDistrib<glm::vec3>::factoryNameText()
{
    return "func_distrib_vec3";
}

template <class T>
BlockFuncDistrib<T>::BlockFuncDistrib()
{
    for (unsigned int i = 0; i < kNumValues; ++i)
        values_.push_back(std::make_unique<Prop<float>>(*this, false, 0.0f));
}

template <class T>
BlockFuncDistrib<T>::BlockFuncDistrib(LoadFlag flag) : BlockFunc(flag)
{
    for (unsigned int i = 0; i < kNumValues; ++i)
        values_.push_back(std::make_unique<Prop<float>>(*this));
}

template <class T>
BlockFuncDistrib<T>::BlockFuncDistrib(const BlockFuncDistrib& other) : BlockFunc(other)
{
    for (const auto& value : other.values_)
        values_.push_back(std::make_unique<Prop<float>>(*this, *value));
}

template <class T>
std::unique_ptr<BlockFuncDistrib<T>> BlockFuncDistrib<T>::create()
{
    std::unique_ptr<BlockFuncDistrib> block(new BlockFuncDistrib());
    block->updateConnectors();
    return block;
}

template <class T>
void BlockFuncDistrib<T>::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs{outputDesc(ValueTraits<T>::connectorType, 0)};
    for (unsigned int i = 0; i < kNumValues; ++i)
        addInputIfExternal(descs, *values_[i], CT_Float, i + 1);
    resetConnectors(descs);
}

template <class T>
std::unique_ptr<Block> BlockFuncDistrib<T>::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncDistrib(*this));
}

template <class T>
void BlockFuncDistrib<T>::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(factoryNameText(), saver, 0);
    for (const auto& value : values_)
        value->save("value", saver);
}

template <class T>
void BlockFuncDistrib<T>::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    for (const auto& value : values_)
        value->load(loader);
}

// All components constant: the value itself. Otherwise the components are inputs: a float
// passes its one input on, a vector joins them.
template <class T>
void BlockFuncDistrib<T>::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(0, 0);
    const bool anyExternal = std::any_of(values_.begin(), values_.end(),
                                         [](const auto& value) { return value->isExternal(); });
    if (!anyExternal)
    {
        ExportBin::OperationScope operation(compiler,
                                            ExportBin::typedFactory<T>(Ps::OF_FuncDistribFloat));
        T value;
        if constexpr (kNumValues == 1)
            value = values_[0]->get();
        else
            for (unsigned int i = 0; i < kNumValues; ++i)
                value[i] = values_[i]->get();
        ExportBin::writeValue(operation.saver(), "value", value);
        return;
    }
    if constexpr (kNumValues == 1)
    {
        ExportBin::OperationScope operation(compiler, Ps::OF_FuncStoreFloat);
        compiler.writeInput(*this, "value", *values_[0], 1);
    }
    else
    {
        static const char* const kNames[] = {"valueX", "valueY", "valueZ"};
        ExportBin::OperationScope operation(compiler, kNumValues == 2 ? Ps::OF_FuncJoinVec2
                                                                      : Ps::OF_FuncJoinVec3);
        for (unsigned int i = 0; i < kNumValues; ++i)
            compiler.writeInput(*this, kNames[i], *values_[i], i + 1);
    }
}

template <class T>
void BlockFuncDistrib<T>::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    for (unsigned int i = 0; i < kNumValues; ++i)
        syncer.syncProp<BlockFuncDistrib>([i](auto& block)
                                          { return reflectedListItem(block.values_, i); });
}

template class BlockFuncDistrib<float>;
template class BlockFuncDistrib<glm::vec2>;
template class BlockFuncDistrib<glm::vec3>;

}  // namespace Plm
