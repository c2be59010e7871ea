#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_export_chains.h"
#include "particle_layout_model/plm_props.h"

namespace Sl
{
class Saver;
}

namespace Plm
{

class BlockConstruct;
class System;
class EmitterExportCompilerBin;

// One effect as the runtime takes it: which emitters compile, how many particles each needs,
// and the tables that the emitters share (materials, textures, render styles, meshes).
class SystemExportCompiler : public std::enable_shared_from_this<SystemExportCompiler>
{
public:
    using Uuid = boost::uuids::uuid;

    struct ValidEmitterDesc
    {
        const Emitter* emitter = nullptr;
        std::shared_ptr<EmitterExportCompilerBase> compiler;
        unsigned int numParticles = 0;
    };
    // All constructors of one mesh kind share a mesh.
    struct MeshDesc
    {
        const BlockConstruct* block = nullptr;
        unsigned int maxNumParticles = 0;
    };
    struct RenderStyle
    {
        uint16_t material = 0;
        std::vector<uint16_t> textures;
    };

    SystemExportCompiler(const SystemExportCompiler&) = delete;
    SystemExportCompiler& operator=(const SystemExportCompiler&) = delete;
    virtual ~SystemExportCompiler();

    const System& getSystem() const { return system_; }
    unsigned int getNumValidEmitters() const { return static_cast<unsigned int>(emitters_.size()); }
    const Uuid& getValidEmitterId(unsigned int index) const;
    const Emitter& getValidEmitter(unsigned int index) const
    {
        return *emitters_.at(index).emitter;
    }
    EmitterExportCompilerBase& getValidEmitterExporter(unsigned int index) const
    {
        return *emitters_.at(index).compiler;
    }
    unsigned int getValidEmitterNumParticles(unsigned int index) const
    {
        return emitters_.at(index).numParticles;
    }
    boost::optional<unsigned int> getEmitterIndex(const Emitter& emitter) const;
    bool hasEmitter(const Emitter& emitter) const
    {
        return static_cast<bool>(getEmitterIndex(emitter));
    }

    // The emitters that failed, for the editor's marks.
    bool hasErrorEmitter(const Uuid& id) const { return errorEmitters_.count(id) != 0; }
    const EmitterExportCompilerBase* getErrorEmitterExporter(const Uuid& id) const;
    const std::map<Uuid, std::shared_ptr<EmitterExportCompilerBase>>&
    getErrorEmitterExporters() const
    {
        return errorEmitters_;
    }

    const std::vector<MeshDesc>& meshes() const { return meshes_; }
    const std::vector<uint8_t>& materials() const { return materials_; }
    const std::vector<std::string>& textures() const { return textures_; }
    const std::vector<RenderStyle>& renderStyles() const { return renderStyles_; }
    unsigned int totalNumParticles() const { return totalNumParticles_; }
    unsigned int getMeshIndexOfConstructor(const BlockConstruct& block) const;
    unsigned int getRenderStyleIndexOfConstructor(const BlockConstruct& block) const;

protected:
    explicit SystemExportCompiler(const System& system);
    // Finds the emitters that compile, attached ones first, counts their particles and
    // collects the shared tables.
    virtual void initialize();
    virtual std::shared_ptr<EmitterExportCompilerBase>
    createEmitterExporter(const Emitter& emitter) = 0;

private:
    bool assertAndAddEmitter(const Emitter& emitter);
    void countParticles(const Emitter& emitter, unsigned int multiplier);

    const System& system_;
    std::vector<ValidEmitterDesc> emitters_;
    std::map<Uuid, std::shared_ptr<EmitterExportCompilerBase>> errorEmitters_;
    std::vector<MeshDesc> meshes_;
    std::vector<uint8_t> materials_;
    std::vector<std::string> textures_;
    std::vector<RenderStyle> renderStyles_;
    unsigned int totalNumParticles_ = 0;
    // The emitters on the current walk over attachments, which a file may close into a cycle.
    std::vector<const Emitter*> visiting_;
};

// The compiler of the runtime's binary form.
class SystemExportCompilerBin : public SystemExportCompiler
{
public:
    static std::shared_ptr<SystemExportCompilerBin> create(const System& system);

    // Writes the compiled effect. A broken limit of the format (255 operations, 65535
    // materials...) is a failed check, which the caller expects.
    void doExport(Sl::Saver& saver, const boost::optional<Uuid>& revision) const;
    // The same into bytes as the runtime reads them (native byte order, no type tags).
    std::vector<uint8_t> exportBytes(const boost::optional<Uuid>& revision = boost::none) const;

    EmitterExportCompilerBin& getValidEmitterExporterBin(unsigned int index) const;

protected:
    using SystemExportCompiler::SystemExportCompiler;
    std::shared_ptr<EmitterExportCompilerBase>
    createEmitterExporter(const Emitter& emitter) override;
};

// The binary compiler of one emitter: its chains, and the writing of its operations.
class EmitterExportCompilerBin : public EmitterExportCompilerOld
{
public:
    EmitterExportCompilerBin(const SystemExportCompilerBin& system, const Emitter& emitter);

    void doExport(Sl::Saver& saver);

    // For the blocks while they write their operation (Block::doExport).
    Sl::Saver& getSaver() const;
    // The current operation delivers its output connector `outputConnectorId` as its output
    // number `outputIndex`.
    void registerOpOutput(uint32_t outputConnectorId, uint8_t outputIndex);
    boost::optional<unsigned int> getBlockOpIndex(const Block& block, unsigned int operId) const;
    // A reference ("oper", "output") to what feeds the input `connectorId` of `block`.
    void writeInput(const Block& block, const char* name, uint32_t connectorId) const;
    // An input that is the property's constant, or, when the property is external, a reference
    // to what feeds `connectorId`. T is float, glm::vec2, glm::vec3 or glm::quat.
    template <class T>
    void writeInput(const Block& block, const char* name, const PropBaseTyped<T>& prop,
                    uint32_t connectorId) const;
    const SystemExportCompilerBin& getSystemExporterBin() const { return system_; }

protected:
    bool makeChains() override;

private:
    struct ExportBlockOp
    {
        BlockOp op;
        // Output connector id to output index.
        std::map<uint32_t, uint8_t> outputs;
    };

    void writeChain(const char* name, const EmitterExporterChain& chain) const;

    const SystemExportCompilerBin& system_;
    Sl::Saver* saver_ = nullptr;
    std::vector<ExportBlockOp> ops_;
    ExportBlockOp* current_ = nullptr;
};

}  // namespace Plm
