#include "particle_layout_model/plm_export_compiler_bin.h"

#include <algorithm>
#include <limits>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_system.h"
#include "plm_export_block_writers.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{

namespace
{

template <class T>
unsigned int indexOrAppend(std::vector<T>& items, const T& item)
{
    auto it = std::find(items.begin(), items.end(), item);
    if (it != items.end())
        return static_cast<unsigned int>(it - items.begin());
    items.push_back(item);
    return static_cast<unsigned int>(items.size() - 1);
}

// The emitter that an attaching block names, if it exists in the effect.
const Emitter* attachedEmitter(const System& system, const BlockParamEmitter& block)
{
    const boost::optional<boost::uuids::uuid>& id = block.getEmitterId();
    return id ? system.getEmitterById(*id) : nullptr;
}

}  // namespace

// The effect.

SystemExportCompiler::SystemExportCompiler(const System& system) : system_(system) {}

SystemExportCompiler::~SystemExportCompiler() = default;

void SystemExportCompiler::initialize()
{
    for (unsigned int i = 0; i < system_.getNumEmitters(); ++i)
    {
        const Emitter& emitter = system_.getEmitter(i);
        if (emitter.isEnabled() && emitter.isStandalone() && assertAndAddEmitter(emitter))
            countParticles(emitter, 1);
    }
    if (emitters_.empty())
        return;

    for (const ValidEmitterDesc& desc : emitters_)
        for (const BlockConstruct& block : desc.emitter->constructBlocks())
        {
            if (!block.isExportable())
                continue;
            auto mesh = std::find_if(meshes_.begin(), meshes_.end(),
                                     [&](const MeshDesc& m)
                                     { return m.block->areMeshFactoriesTheSame(block); });
            if (mesh != meshes_.end())
                mesh->maxNumParticles += desc.numParticles;
            else
                meshes_.push_back({&block, desc.numParticles});
            const unsigned int material =
                indexOrAppend(materials_, static_cast<uint8_t>(block.getMaterial()));
            DEBUG_ASSERT(materials_.size() <= std::numeric_limits<uint16_t>::max());
            const unsigned int texture = indexOrAppend(textures_, block.getTexture());
            DEBUG_ASSERT(textures_.size() <= std::numeric_limits<uint16_t>::max());
            const RenderStyle style{static_cast<uint16_t>(material),
                                    {static_cast<uint16_t>(texture)}};
            if (std::none_of(renderStyles_.begin(), renderStyles_.end(),
                             [&](const RenderStyle& s) {
                                 return s.material == style.material &&
                                        s.textures == style.textures;
                             }))
                renderStyles_.push_back(style);
        }
}

bool SystemExportCompiler::assertAndAddEmitter(const Emitter& emitter)
{
    if (hasEmitter(emitter))
        return true;
    // A file may hold a cycle of attached emitters: each is visited once per walk.
    if (std::find(visiting_.begin(), visiting_.end(), &emitter) != visiting_.end())
        return false;
    visiting_.push_back(&emitter);
    // Attached emitters stand before the emitter that attaches them; one that fails leaves
    // its parent valid, and the parent's attaching block is then not started.
    for (const BlockParamEmitter& block : emitter.paramEmitterBlocks())
        if (const Emitter* attached = attachedEmitter(system_, block))
            assertAndAddEmitter(*attached);
    visiting_.pop_back();
    if (!emitter.isEnabled())
        return false;
    std::shared_ptr<EmitterExportCompilerBase> compiler = createEmitterExporter(emitter);
    if (compiler->hasError())
    {
        errorEmitters_[emitter.getId()] = compiler;
        return false;
    }
    emitters_.push_back({&emitter, compiler, 0});
    return true;
}

void SystemExportCompiler::countParticles(const Emitter& emitter, unsigned int multiplier)
{
    if (std::find(visiting_.begin(), visiting_.end(), &emitter) != visiting_.end())
        return;
    const boost::optional<unsigned int> index = getEmitterIndex(emitter);
    DEBUG_ASSERT(index);
    const unsigned int added = emitter.getMaxNumParticles() * multiplier;
    emitters_[*index].numParticles += added;
    totalNumParticles_ += added;
    // An attached emitter counts once per particle of its parent.
    visiting_.push_back(&emitter);
    const unsigned int parentCount = emitters_[*index].numParticles;
    for (const BlockParamEmitter& block : emitter.paramEmitterBlocks())
        if (const Emitter* attached = attachedEmitter(system_, block))
            if (hasEmitter(*attached))
                countParticles(*attached, parentCount);
    visiting_.pop_back();
}

const boost::uuids::uuid& SystemExportCompiler::getValidEmitterId(unsigned int index) const
{
    return emitters_.at(index).emitter->getId();
}

boost::optional<unsigned int> SystemExportCompiler::getEmitterIndex(const Emitter& emitter) const
{
    for (unsigned int i = 0; i < emitters_.size(); ++i)
        if (emitters_[i].emitter == &emitter)
            return i;
    return boost::none;
}

const EmitterExportCompilerBase* SystemExportCompiler::getErrorEmitterExporter(const Uuid& id) const
{
    auto it = errorEmitters_.find(id);
    return it == errorEmitters_.end() ? nullptr : it->second.get();
}

unsigned int SystemExportCompiler::getMeshIndexOfConstructor(const BlockConstruct& block) const
{
    for (unsigned int i = 0; i < meshes_.size(); ++i)
        if (meshes_[i].block->areMeshFactoriesTheSame(block))
            return i;
    DEBUG_ASSERT(!"a constructor without a mesh");
    return 0;
}

unsigned int
SystemExportCompiler::getRenderStyleIndexOfConstructor(const BlockConstruct& block) const
{
    for (unsigned int i = 0; i < renderStyles_.size(); ++i)
    {
        const RenderStyle& style = renderStyles_[i];
        DEBUG_ASSERT(style.textures.size() == 1);
        if (materials_.at(style.material) == static_cast<uint8_t>(block.getMaterial()) &&
            textures_.at(style.textures[0]) == block.getTexture())
            return i;
    }
    DEBUG_ASSERT(!"a constructor without a render style");
    return 0;
}

// The binary effect.

std::shared_ptr<SystemExportCompilerBin> SystemExportCompilerBin::create(const System& system)
{
    std::shared_ptr<SystemExportCompilerBin> compiler(new SystemExportCompilerBin(system));
    compiler->initialize();
    return compiler;
}

std::shared_ptr<EmitterExportCompilerBase>
SystemExportCompilerBin::createEmitterExporter(const Emitter& emitter)
{
    auto compiler = std::make_shared<EmitterExportCompilerBin>(*this, emitter);
    compiler->initialize();
    return compiler;
}

EmitterExportCompilerBin&
SystemExportCompilerBin::getValidEmitterExporterBin(unsigned int index) const
{
    return static_cast<EmitterExportCompilerBin&>(getValidEmitterExporter(index));
}

void SystemExportCompilerBin::doExport(Sl::Saver& saver,
                                       const boost::optional<Uuid>& revision) const
{
    {
        Sl::ScopedSaverGroup group("revision", saver);
        saver.write("has_revision", static_cast<bool>(revision));
        if (revision)
            Sl::write("id", saver, *revision);
    }
    saver.write("num_materials", static_cast<uint32_t>(materials().size()));
    for (uint8_t material : materials())
        saver.write("mat", material);
    saver.write("num_textures", static_cast<uint32_t>(textures().size()));
    for (const std::string& texture : textures())
    {
        // The name with its terminating zero.
        const uint32_t length = static_cast<uint32_t>(texture.size() + 1);
        saver.write("length", length);
        saver.writeBinary("tex", reinterpret_cast<const uint8_t*>(texture.c_str()), length);
    }
    saver.write("num_rstyles", static_cast<uint32_t>(renderStyles().size()));
    for (const RenderStyle& style : renderStyles())
    {
        saver.write("mat_index", style.material);
        saver.write("num_tex", static_cast<uint8_t>(style.textures.size()));
        for (uint16_t texture : style.textures)
            saver.write("tex_index", texture);
    }
    saver.write("num_meshes", static_cast<uint32_t>(meshes().size()));
    for (const MeshDesc& mesh : meshes())
    {
        saver.write("max_num_particles", static_cast<uint32_t>(mesh.maxNumParticles));
        mesh.block->doMeshExport(saver);
    }
    saver.write("num_emitters", static_cast<uint32_t>(getNumValidEmitters()));
    for (unsigned int i = 0; i < getNumValidEmitters(); ++i)
        getValidEmitterExporterBin(i).doExport(saver);
    saver.write("num_rcalls", static_cast<uint32_t>(totalNumParticles()));
    const System& system = getSystem();
    saver.write("fps", system.getFps());
    {
        Sl::ScopedSaverGroup group("seed", saver);
        saver.write("seed_type", static_cast<uint8_t>(system.getSeedType()));
        if (system.getSeedType() == Ps::SST_Fixed)
            saver.write("fixed_seed", static_cast<uint32_t>(system.getFixedSeed()));
    }
    saver.write("presim_time", system.getPresimTime());
}

std::vector<uint8_t>
SystemExportCompilerBin::exportBytes(const boost::optional<Uuid>& revision) const
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    doExport(saver, revision);
    return saver.dataAsVector();
}

// The binary emitter.

EmitterExportCompilerBin::EmitterExportCompilerBin(const SystemExportCompilerBin& system,
                                                   const Emitter& emitter)
    : EmitterExportCompilerOld(emitter, [&system](const Emitter& attached)
                               { return system.hasEmitter(attached); }),
      system_(system)
{
}

bool EmitterExportCompilerBin::makeChains()
{
    if (!EmitterExportCompilerOld::makeChains())
        return false;
    for (const BlockOp& op : activeBlocks())
        ops_.push_back({op, {}});
    return true;
}

Sl::Saver& EmitterExportCompilerBin::getSaver() const
{
    DEBUG_ASSERT(saver_);
    return *saver_;
}

void EmitterExportCompilerBin::registerOpOutput(uint32_t outputConnectorId, uint8_t outputIndex)
{
    DEBUG_ASSERT(current_);
    std::map<uint32_t, uint8_t>& outputs = current_->outputs;
    DEBUG_ASSERT(outputs.find(outputConnectorId) == outputs.end());
    outputs[outputConnectorId] = outputIndex;
}

boost::optional<unsigned int> EmitterExportCompilerBin::getBlockOpIndex(const Block& block,
                                                                        unsigned int operId) const
{
    for (unsigned int i = 0; i < ops_.size(); ++i)
        if (ops_[i].op == BlockOp{&block, operId})
            return i;
    return boost::none;
}

void EmitterExportCompilerBin::writeInput(const Block& block, const char* name,
                                          uint32_t connectorId) const
{
    const BlockConnector input = block.getConnectorById(connectorId);
    const Emitter& emitter = getEmitter();
    const BlockLink* link = nullptr;
    for (unsigned int i = 0; i < emitter.getNumLinks() && !link; ++i)
        if (emitter.getLink(i).input_ == input)
            link = &emitter.getLink(i);
    DEBUG_ASSERT(link);
    // The first operation of the source block that delivers this output; written before the
    // reader, since a chain is a post-order of the graph.
    boost::optional<unsigned int> sourceBlockOpIndex;
    uint8_t sourceOpOutputIndex = 0;
    for (unsigned int i = 0; i < ops_.size() && !sourceBlockOpIndex; ++i)
    {
        if (ops_[i].op.block->getId() != link->output_.blockId)
            continue;
        auto output = ops_[i].outputs.find(link->output_.desc_.index_);
        if (output == ops_[i].outputs.end())
            continue;
        sourceBlockOpIndex = i;
        sourceOpOutputIndex = output->second;
    }
    DEBUG_ASSERT(sourceBlockOpIndex);
    Sl::Saver& saver = getSaver();
    Sl::ScopedSaverGroup group(name, saver);
    saver.write("oper", static_cast<uint8_t>(*sourceBlockOpIndex));
    saver.write("output", sourceOpOutputIndex);
}

template <class T>
void EmitterExportCompilerBin::writeInput(const Block& block, const char* name,
                                          const PropBaseTyped<T>& prop, uint32_t connectorId) const
{
    Sl::Saver& saver = getSaver();
    Sl::ScopedSaverGroup group(name, saver);
    // The property decides, not the link: an external property always reads its input.
    saver.write("ext", prop.isExternal());
    if (prop.isExternal())
    {
        writeInput(block, "input", connectorId);
        return;
    }
    saver.write("type", static_cast<uint8_t>(Ps::ValueTypeOf<T>::value));
    Sl::ScopedSaverGroup value(nullptr, saver);
    ExportBin::writeValue(saver, "value", prop.get());
}

template void EmitterExportCompilerBin::writeInput(const Block&, const char*,
                                                   const PropBaseTyped<float>&, uint32_t) const;
template void EmitterExportCompilerBin::writeInput(const Block&, const char*,
                                                   const PropBaseTyped<glm::vec2>&, uint32_t) const;
template void EmitterExportCompilerBin::writeInput(const Block&, const char*,
                                                   const PropBaseTyped<glm::vec3>&, uint32_t) const;
template void EmitterExportCompilerBin::writeInput(const Block&, const char*,
                                                   const PropBaseTyped<glm::quat>&, uint32_t) const;

void EmitterExportCompilerBin::writeChain(const char* name, const EmitterExporterChain& chain) const
{
    Sl::Saver& saver = getSaver();
    Sl::ScopedSaverGroup group(name, saver);
    const unsigned int length = chain.getNumChainedBlockOps();
    DEBUG_ASSERT(length < 256);
    saver.write("length", static_cast<uint8_t>(length));
    for (const BlockOp& op : chain.chainedBlockOps())
        saver.write("op", static_cast<uint8_t>(*getBlockOpIndex(*op.block, op.operId)));
}

void EmitterExportCompilerBin::doExport(Sl::Saver& saver)
{
    saver_ = &saver;
    DEBUG_ASSERT(ops_.size() < 256);
    saver.write("num_operations", static_cast<uint8_t>(ops_.size()));
    unsigned int numGenerators = 0, numTerminators = 0, numConstructors = 0;
    for (const ExportBlockOp& op : ops_)
    {
        numGenerators += op.op.block->castToBlockGenerator() ? 1 : 0;
        numTerminators += op.op.block->castToBlockTerminator() ? 1 : 0;
        numConstructors += op.op.block->castToBlockConstruct() ? 1 : 0;
    }
    DEBUG_ASSERT(numGenerators <= std::numeric_limits<uint16_t>::max());
    DEBUG_ASSERT(numTerminators <= std::numeric_limits<uint16_t>::max());
    DEBUG_ASSERT(numConstructors <= std::numeric_limits<uint16_t>::max());
    saver.write("num_generators", static_cast<uint16_t>(numGenerators));
    saver.write("num_terminators", static_cast<uint16_t>(numTerminators));
    saver.write("num_constructors", static_cast<uint16_t>(numConstructors));
    for (ExportBlockOp& op : ops_)
    {
        current_ = &op;
        op.op.block->doExport(*this, op.op.operId);
    }
    current_ = nullptr;
    writeChain("generator_chain", generatorChain());
    writeChain("init_chain", initChain());
    writeChain("init_burst_chain", initBurstChain());
    writeChain("update_chain", updateChain());
    writeChain("term_chain", terminatorChain());
    writeChain("construct_chain", constructChain());
    const Emitter& emitter = getEmitter();
    saver.write("standalone", emitter.isStandalone());
    saver.write("max_num_particles", static_cast<uint32_t>(emitter.getMaxNumParticles()));
    saver.write("sorting", static_cast<uint8_t>(emitter.getSorting()));
    saver.write("num_conn_emitters", static_cast<uint32_t>(validConnectedEmitters().size()));
    for (const ValidConnectedEmitter& connected : validConnectedEmitters())
    {
        Sl::ScopedSaverGroup group("conn_emitter", saver);
        saver.write("idx_of_conn_emitter",
                    static_cast<uint32_t>(*system_.getEmitterIndex(*connected.emitter)));
        const auto& block = static_cast<const BlockParamEmitter&>(*connected.block);
        saver.write("draw_before", block.getDrawOrder() == BlockParamEmitter::DO_BeforeParent);
    }
    saver_ = nullptr;
}

}  // namespace Plm
