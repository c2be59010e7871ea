#pragma once

#include <string>

#include "particle_layout_model/plm_block_param.h"

namespace Plm
{

// A named global parameter of one value type on output 0: fed from outside the emitter,
// "value" when nothing feeds it.
template <class T>
class BlockGlobParamTyped : public BlockGlobParam
{
    PLM_BLOCK_KIND(BlockGlobParamTyped, factoryNameText())

public:
    static const char* factoryNameText();
    static std::unique_ptr<BlockGlobParamTyped> create();

    EnumConnectorType getConnectorType() const override { return ValueTraits<T>::connectorType; }
    const std::string& getName() const override { return name_.get(); }
    // Tells the emitter too: the blocks that attach it show the parameters by name.
    void setName(const boost::optional<std::string>& name) override;
    PLM_PROP_ACCESSORS(Value, T, value_)
    const PropBaseTyped<std::string>& nameProp() const { return name_; }
    const PropBaseTyped<T>& valueProp() const { return value_; }
    PropBaseTyped<T>& valueProp() { return value_; }

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockGlobParamTyped();
    explicit BlockGlobParamTyped(LoadFlag flag);
    BlockGlobParamTyped(const BlockGlobParamTyped& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<std::string> name_;
    Prop<T> value_;
};

using BlockGlobParamFloat = BlockGlobParamTyped<float>;
using BlockGlobParamVec2 = BlockGlobParamTyped<glm::vec2>;
using BlockGlobParamVec3 = BlockGlobParamTyped<glm::vec3>;
using BlockGlobParamQuat = BlockGlobParamTyped<glm::quat>;

}  // namespace Plm
