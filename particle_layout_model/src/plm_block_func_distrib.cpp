#include "particle_layout_model/plm_block_func_distrib.h"

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

template class BlockFuncDistrib<float>;
template class BlockFuncDistrib<glm::vec2>;
template class BlockFuncDistrib<glm::vec3>;

}  // namespace Plm
