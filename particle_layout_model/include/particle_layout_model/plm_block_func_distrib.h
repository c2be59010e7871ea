#pragma once

#include <memory>
#include <vector>

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// Assembles a value of T from one float per component.
template <class T>
class BlockFuncDistrib : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncDistrib, factoryNameText())

public:
    static constexpr unsigned int kNumValues = sizeof(T) / sizeof(float);

    static const char* factoryNameText();
    static std::unique_ptr<BlockFuncDistrib> create();

    unsigned int getNumValues() const { return kNumValues; }
    const float& getValue(unsigned int index) const { return value(index).get(); }
    void setValue(unsigned int index, const boost::optional<float>& v)
    {
        setPropAndNotify(value(index), v);
    }
    bool isValueExternal(unsigned int index) const { return value(index).isExternal(); }
    void setValueExternal(unsigned int index, bool external) { value(index).setExternal(external); }
    const PropBaseTyped<float>& valueProp(unsigned int index) const { return value(index); }
    PropBaseTyped<float>& valueProp(unsigned int index) { return value(index); }

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncDistrib();
    explicit BlockFuncDistrib(LoadFlag flag);
    BlockFuncDistrib(const BlockFuncDistrib& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    const Prop<float>& value(unsigned int index) const
    {
        DEBUG_ASSERT(index < values_.size());
        return *values_[index];
    }
    Prop<float>& value(unsigned int index)
    {
        DEBUG_ASSERT(index < values_.size());
        return *values_[index];
    }

    // On the heap: each registers with the block on construction.
    std::vector<std::unique_ptr<Prop<float>>> values_;
};

using BlockFuncDistribFloat = BlockFuncDistrib<float>;
using BlockFuncDistribVec2 = BlockFuncDistrib<glm::vec2>;
using BlockFuncDistribVec3 = BlockFuncDistrib<glm::vec3>;

}  // namespace Plm
