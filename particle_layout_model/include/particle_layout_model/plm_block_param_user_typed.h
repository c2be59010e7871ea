#pragma once

#include <cstdint>

#include "particle_layout_model/plm_block_param_user.h"

namespace Plm
{

// A user parameter of one value type. "init" is the value that a new particle starts with
// (input 0 while it is external); output 1 is the parameter's current value.
template <class T>
class BlockParamUserTyped : public BlockParamUser
{
    PLM_BLOCK_KIND(BlockParamUserTyped, typedGroupName())

public:
    // The name of this class's group: the factory name of the plain typed kind, which the
    // kinds derived from it keep writing.
    static const char* typedGroupName();
    static std::unique_ptr<BlockParamUserTyped> create();

    const T& getValue() const { return init_.get(); }
    void setValue(const boost::optional<T>& value) { setPropAndNotify(init_, value); }
    PropBaseTyped<T>& valueProp() { return init_; }
    const PropBaseTyped<T>& valueProp() const { return init_; }

    EnumConnectorType getConnectorType() const override { return ValueTraits<T>::connectorType; }
    bool isValueExternal() const override { return init_.isExternal(); }
    void setValueExternal(bool external) override;

    // The parameter's operation, the same in the init and the update chains.
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockParamUserTyped();
    explicit BlockParamUserTyped(LoadFlag flag);
    BlockParamUserTyped(const BlockParamUserTyped& other);

    // The version of the typed group that was read; the current one for a block not loaded.
    uint32_t typedGroupVersion() const { return typedGroupVersion_; }

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    static constexpr uint32_t kTypedGroupVersion = 1;

    Prop<T> init_;
    uint32_t typedGroupVersion_ = kTypedGroupVersion;
};

using BlockParamUserFloat = BlockParamUserTyped<float>;
using BlockParamUserVec2 = BlockParamUserTyped<glm::vec2>;
using BlockParamUserVec3 = BlockParamUserTyped<glm::vec3>;
using BlockParamUserQuat = BlockParamUserTyped<glm::quat>;

}  // namespace Plm
