#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_syncer.h"

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_system.h"

#include "plm_export_block_writers.h"

namespace Plm
{

BlockParamEmitter::BlockParamEmitter()
    : emitterId_(*this, false, boost::none),
      onTerminate_(*this, false, false),
      drawOrder_(*this, false, DO_AfterParent)
{
}

BlockParamEmitter::BlockParamEmitter(LoadFlag flag)
    : BlockParam(flag), emitterId_(*this), onTerminate_(*this), drawOrder_(*this)
{
}

BlockParamEmitter::BlockParamEmitter(const BlockParamEmitter& other)
    : BlockParam(other),
      emitterId_(*this, other.emitterId_),
      onTerminate_(*this, other.onTerminate_),
      drawOrder_(*this, other.drawOrder_)
{
}

std::unique_ptr<BlockParamEmitter> BlockParamEmitter::create()
{
    std::unique_ptr<BlockParamEmitter> block(new BlockParamEmitter());
    block->updateConnectors();
    return block;
}

void BlockParamEmitter::setEmitterId(const boost::optional<boost::optional<boost::uuids::uuid>>& id)
{
    emitterId_.set(id);
    updateParameters();
}

const Emitter* BlockParamEmitter::attachedEmitter() const
{
    if (!emitterId_.get())
        return nullptr;
    const Emitter* emitter = getEmitter();
    DEBUG_ASSERT(emitter);
    const System* system = emitter->getSystem();
    DEBUG_ASSERT(system);
    return system->getEmitterById(*emitterId_.get());
}

uint32_t BlockParamEmitter::connectorIndexOf(const BlockGlobParam& param)
{
    const boost::uuids::uuid& id = param.getGlobParamId();
    return static_cast<uint32_t>(id.data[0]) | static_cast<uint32_t>(id.data[1]) << 8 |
           static_cast<uint32_t>(id.data[2]) << 16 | static_cast<uint32_t>(id.data[3]) << 24;
}

void BlockParamEmitter::updateConnectors()
{
    std::vector<BlockConnectorDesc> descs;
    // An emitter that has gone from the effect leaves the block without inputs.
    if (const Emitter* attached = attachedEmitter())
        for (const BlockGlobParam& param : attached->globParamBlocks())
            descs.push_back(inputDesc(param.getConnectorType(), connectorIndexOf(param)));
    resetConnectors(descs);
}

void BlockParamEmitter::updateParameters()
{
    updateConnectors();
    notifyPropChanged(true);
}

unsigned int BlockParamEmitter::getParameterConnectorId(unsigned int i) const
{
    return getConnectorDesc(i).index_;
}

std::string BlockParamEmitter::getGlobParamNameByConnectorIndex(unsigned int index) const
{
    if (const Emitter* attached = attachedEmitter())
        for (const BlockGlobParam& param : attached->globParamBlocks())
            if (connectorIndexOf(param) == index)
                return param.getName();
    return std::string();
}

std::unique_ptr<Block> BlockParamEmitter::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockParamEmitter(*this));
}

void BlockParamEmitter::saveImpl(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("param_emitter", saver, 0);
    emitterId_.save("emitter_id", saver);
    onTerminate_.save("on_terminate", saver);
    drawOrder_.save("draw_order", saver);
}

void BlockParamEmitter::loadImpl(Sl::RevisionLoader& loader)
{
    Sl::ScopedLoaderGroup group(loader, 0);
    emitterId_.load(loader);
    onTerminate_.load(loader);
    drawOrder_.load(loader);
}

void BlockParamEmitter::doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const
{
    // Only attached emitters that the effect compiles start chains of this block.
    const boost::optional<unsigned int> connIndex = compiler.getConnectedEmitterIndex(*this);
    DEBUG_ASSERT(connIndex);
    Sl::Saver& saver = compiler.getSaver();
    if (operId < 100)
    {
        DEBUG_ASSERT(operId == 0 || operId == 1);
        const Ps::EnumOperationFactories factory =
            operId == 0 ? Ps::OF_ParameterEmitterIniter : Ps::OF_ParameterEmitter;
        const ExportBin::OperationScope operation(saver, factory);
        saver.write("conn_emitter_index", static_cast<uint32_t>(*connIndex));
        saver.write("on_term", isOnTerminate());
        return;
    }

    // Input i goes to the global parameter that the connector was made for, in the attached
    // emitter's compiled operations.
    const BlockConnectorDesc& connector = getConnectorDesc(operId - 100);
    DEBUG_ASSERT(connector.dir_ == CD_Input);
    const Emitter* attached = attachedEmitter();
    DEBUG_ASSERT(attached);
    const BlockGlobParam* param = nullptr;
    for (const BlockGlobParam& candidate : attached->globParamBlocks())
        if (connectorIndexOf(candidate) == connector.index_)
            param = &candidate;
    DEBUG_ASSERT(param && param->getConnectorType() == connector.type_);
    const SystemExportCompilerBin& system = compiler.getSystemExporterBin();
    const boost::optional<unsigned int> emitterIndex = system.getEmitterIndex(*attached);
    DEBUG_ASSERT(emitterIndex && *emitterIndex < 256);
    const boost::optional<unsigned int> paramOpIndex =
        system.getValidEmitterExporterBin(*emitterIndex).getBlockOpIndex(*param, 0);
    DEBUG_ASSERT(paramOpIndex && *connIndex < 256);

    const ExportBin::OperationScope operation(
        saver, ExportBin::typedFactory(Ps::OF_ParameterEmitterParamFloat, connector.type_));
    compiler.writeInput(*this, "input", connector.index_);
    saver.write("glob_param_emitter_index", static_cast<uint8_t>(*emitterIndex));
    saver.write("glob_param_op_index", static_cast<uint8_t>(*paramOpIndex));
    saver.write("conn_emitter_index", static_cast<uint8_t>(*connIndex));
}

namespace
{

// The counterpart, in `block`'s effect, of the emitter `id` of `source`'s effect: the one with
// the same systemReflId. None if either effect or emitter is missing.
boost::optional<boost::uuids::uuid>
translateEmitterId(const Block& source, const boost::uuids::uuid& id, const Block& block)
{
    const System* sourceSystem = source.getSystem();
    const System* system = block.getSystem();
    const Emitter* sourceEmitter = sourceSystem ? sourceSystem->findEmitterById(id) : nullptr;
    const Emitter* emitter =
        sourceEmitter && system
            ? system->findEmitterBySystemReflId(sourceEmitter->getSystemReflId())
            : nullptr;
    if (!emitter)
        return boost::none;
    return emitter->getId();
}

}  // namespace

// An emitter id belongs to its effect: the effect's counterpart gives the emitter that stands
// for its own, the emitter's counterpart (of the same effect) its id as it is. The block's own
// override stays.
void BlockParamEmitter::syncReflectionImpl(const BlockSyncer& syncer)
{
    boost::optional<boost::optional<boost::uuids::uuid>> ownOverride;
    if (emitterId_.isOverridden())
        ownOverride = emitterId_.get();
    const Block* systemSource = syncer.getSystemReflSource();
    if (systemSource)
    {
        const boost::optional<boost::uuids::uuid>& sourceId =
            static_cast<const BlockParamEmitter&>(*systemSource).getEmitterId();
        emitterId_.set(boost::optional<boost::uuids::uuid>(
            sourceId ? translateEmitterId(*systemSource, *sourceId, *this) : boost::none));
        emitterId_.bake();
    }
    if (const Block* emitterSource = syncer.getEmitterReflSource())
    {
        const auto& source = static_cast<const BlockParamEmitter&>(*emitterSource);
        if (!systemSource || source.emitterId_.isOverridden())
        {
            emitterId_.set(source.getEmitterId());
            emitterId_.bake();
        }
    }
    if (ownOverride)
        emitterId_.set(*ownOverride);
    syncer.syncProp(&BlockParamEmitter::onTerminate_);
    syncer.syncProp(&BlockParamEmitter::drawOrder_);
}

}  // namespace Plm
