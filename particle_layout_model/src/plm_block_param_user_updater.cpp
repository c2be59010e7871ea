#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_emitter.h"
#include "revision_saveload/sl_write_read.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockParamUserUpdater::BlockParamUserUpdater(EnumConnectorType type,
                                             const boost::uuids::uuid& paramId)
    : type_(type), paramId_(paramId)
{
}

BlockParamUserUpdater::BlockParamUserUpdater(const BlockParamUserUpdater& other)
    : BlockParam(other), type_(other.type_), paramId_(other.paramId_), needsReconnect_(true)
{
}

std::unique_ptr<BlockParamUserUpdater> BlockParamUserUpdater::create(const BlockParamUser& param)
{
    std::unique_ptr<BlockParamUserUpdater> block(
        new BlockParamUserUpdater(param.getConnectorType(), param.getId()));
    block->updateConnectors();
    return block;
}

const BlockParamUser& BlockParamUserUpdater::getParentBlock() const
{
    return const_cast<BlockParamUserUpdater*>(this)->getParentBlock();
}

BlockParamUser& BlockParamUserUpdater::getParentBlock()
{
    Emitter* emitter = getEmitter();
    DEBUG_ASSERT(emitter);
    Block* block = emitter->findBlockById(paramId_);
    BlockParam* parentBlockParam = block ? block->castToBlockParam() : nullptr;
    DEBUG_ASSERT(parentBlockParam);
    BlockParamUser* parentBlockParamUser = parentBlockParam->castToBlockParamUser();
    DEBUG_ASSERT(parentBlockParamUser);
    return *parentBlockParamUser;
}

void BlockParamUserUpdater::reconnectAfterReflection(const boost::uuids::uuid& paramId)
{
    paramId_ = paramId;
    needsReconnect_ = false;
}

void BlockParamUserUpdater::updateConnectors()
{
    const BlockConnectorDesc in = inputDesc(type_, 0);
    resetConnectors(&in, 1);
}

std::unique_ptr<Block> BlockParamUserUpdater::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockParamUserUpdater(*this));
}

void BlockParamUserUpdater::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("block_param_user_updater", saver, 0);
    Sl::write("type", saver, static_cast<uint32_t>(type_));
    Sl::write("param_id", saver, paramId_);
}

void BlockParamUserUpdater::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    uint32_t type = 0;
    Sl::read(loader, type);
    if (type > CT_Quat)
        throw Sl::CorruptedDataException();
    boost::uuids::uuid paramId;
    Sl::read(loader, paramId);
    type_ = static_cast<EnumConnectorType>(type);
    paramId_ = paramId;
}

void BlockParamUserUpdater::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    DEBUG_ASSERT(operId == 0);
    // The parameter's own operation is in the list, since every parameter is active in the
    // update chain.
    const boost::optional<unsigned int> parameterIndex =
        compiler.getBlockOpIndex(getParentBlock(), 0);
    DEBUG_ASSERT(parameterIndex && *parameterIndex < 256);
    const ExportBin::OperationScope operation(
        compiler, ExportBin::typedFactory(Ps::OF_ParameterUpdaterFloat, type_));
    Sl::Saver& saver = operation.saver();
    saver.write("parameter", static_cast<uint8_t>(*parameterIndex));
    compiler.writeInput(*this, "input", 0);
}

// The type and the parameter are fixed when the block is made; the emitter points a reflected
// updater at its own parameter.
void BlockParamUserUpdater::syncReflectionImpl(const BlockSyncer&) {}

}  // namespace Plm
