#include "particle_layout_model/plm_block_func_split_vec.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "plm_export_block_writers.h"

namespace Plm
{

template <>
const char* BlockFuncSplitVec<glm::vec2>::factoryNameText()
{
    return "func_split_vec2";
}
template <>
const char* BlockFuncSplitVec<glm::vec3>::factoryNameText()
{
    return "func_split_vec3";
}

template <class T>
std::unique_ptr<BlockFuncSplitVec<T>> BlockFuncSplitVec<T>::create()
{
    std::unique_ptr<BlockFuncSplitVec> block(new BlockFuncSplitVec());
    block->updateConnectors();
    return block;
}

template <class T>
void BlockFuncSplitVec<T>::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs;
    for (unsigned int i = 1; i <= kNumComponents; ++i)
        descs.push_back(outputDesc(CT_Float, i));
    descs.push_back(inputDesc(ValueTraits<T>::connectorType, 0));
    resetConnectors(descs);
}

template <class T>
std::unique_ptr<Block> BlockFuncSplitVec<T>::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncSplitVec(*this));
}

// Output i of the operation is component i, on connector i + 1.
template <class T>
void BlockFuncSplitVec<T>::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    for (uint8_t component = 0; component < kNumComponents; ++component)
        compiler.registerOpOutput(component + 1u, component);
    ExportBin::OperationScope operation(
        compiler, ExportBin::typedFactory<T, glm::vec2>(Ps::OF_FuncSplitVec2));
    compiler.writeInput(*this, "input", 0);
}

template <class T>
void BlockFuncSplitVec<T>::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
}

template class BlockFuncSplitVec<glm::vec2>;
template class BlockFuncSplitVec<glm::vec3>;

}  // namespace Plm
