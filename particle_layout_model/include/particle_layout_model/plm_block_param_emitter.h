#pragma once

#include <string>

#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_block_param.h"

namespace Plm
{

class Emitter;

// Attaches another emitter of the effect to each particle. Its inputs are the global
// parameters of that emitter, one each, numbered by the parameter's glob_param_id, so that
// links stay when the parameters are reordered, added or renamed.
class BlockParamEmitter : public BlockParam
{
    PLM_BLOCK_KIND(BlockParamEmitter, "param_emitter")

public:
    enum EnumDrawOrder : uint8_t
    {
        DO_BeforeParent = 0,
        DO_AfterParent = 1,
    };

    static std::unique_ptr<BlockParamEmitter> create();

    using BlockParam::castToBlockParamEmitter;
    BlockParamEmitter* castToBlockParamEmitter() override { return this; }
    using BlockParam::castToBlockParamEmitterParam;
    BlockParamEmitter* castToBlockParamEmitterParam() override { return this; }

    const boost::optional<boost::uuids::uuid>& getEmitterId() const { return emitterId_.get(); }
    // The outer optional is the override: empty goes back to the default.
    void setEmitterId(const boost::optional<boost::optional<boost::uuids::uuid>>& id);
    bool isOnTerminate() const { return onTerminate_.get(); }
    void setOnTerminate(const boost::optional<bool>& value)
    {
        setPropAndNotify(onTerminate_, value);
    }
    EnumDrawOrder getDrawOrder() const { return drawOrder_.get(); }
    void setDrawOrder(const boost::optional<EnumDrawOrder>& value)
    {
        setPropAndNotify(drawOrder_, value);
    }

    // Rebuilds the inputs from the attached emitter's global parameters: a change of the block.
    void updateParameters();
    // The connector index of the i-th global parameter.
    unsigned int getParameterConnectorId(unsigned int i) const;
    // The name of the global parameter behind an input; empty if there is none.
    std::string getGlobParamNameByConnectorIndex(unsigned int index) const;
    // The input index of a global parameter: the first four bytes of its glob_param_id, read
    // as a little-endian number.
    static uint32_t connectorIndexOf(const BlockGlobParam& param);

    // operId 0: the initer of the attached emitter, in the init chains; 1: its update; 100 + i:
    // passes input i to the attached emitter's global parameter.
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    // Rebuilds the inputs alone, as getting an owner or loading does: no change of the block.
    void updateConnectors() override;

protected:
    BlockParamEmitter();
    explicit BlockParamEmitter(LoadFlag flag);
    BlockParamEmitter(const BlockParamEmitter& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    // The emitter named by "emitter_id" in this block's effect; null if none is set or the
    // effect has no such emitter.
    const Emitter* attachedEmitter() const;

    Prop<boost::optional<boost::uuids::uuid>> emitterId_;
    Prop<bool> onTerminate_;
    Prop<EnumDrawOrder> drawOrder_;
};

template <>
struct PropEnumRange<BlockParamEmitter::EnumDrawOrder>
{
    static constexpr uint8_t first = BlockParamEmitter::DO_BeforeParent,
                             last = BlockParamEmitter::DO_AfterParent;
};

}  // namespace Plm
