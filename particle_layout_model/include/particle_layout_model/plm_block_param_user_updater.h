#pragma once

#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_block_param.h"

namespace Plm
{

// Gives a user parameter a new value in each update: input 0, of the parameter's type. It
// names its parameter by id and has no properties.
class BlockParamUserUpdater : public BlockParam
{
    PLM_BLOCK_KIND(BlockParamUserUpdater, "param_user_updater")

public:
    static std::unique_ptr<BlockParamUserUpdater> create(const BlockParamUser& param);

    using BlockParam::castToBlockParamUpdater;
    BlockParamUserUpdater* castToBlockParamUpdater() override { return this; }

    EnumConnectorType getType() const { return type_; }
    const boost::uuids::uuid& getParamId() const { return paramId_; }
    // The parameter of the block's emitter that this block updates.
    const BlockParamUser& getParentBlock() const;
    BlockParamUser& getParentBlock();

    // A copy still names the source's parameter: the reflection that made it points it at
    // the parameter's own reflection.
    bool doesNeedReconnectAfterReflection() const { return needsReconnect_; }
    void reconnectAfterReflection(const boost::uuids::uuid& paramId);

    // The scheme draws the block in its parameter's colour.
    void notifyParamColorChanged() { notifyPropChanged(false); }

    // Writes the input into the particle data of the parameter's operation.
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockParamUserUpdater(EnumConnectorType type, const boost::uuids::uuid& paramId);
    explicit BlockParamUserUpdater(LoadFlag flag) : BlockParam(flag) {}
    BlockParamUserUpdater(const BlockParamUserUpdater& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    EnumConnectorType type_ = CT_Float;
    boost::uuids::uuid paramId_{};
    bool needsReconnect_ = false;
};

}  // namespace Plm
