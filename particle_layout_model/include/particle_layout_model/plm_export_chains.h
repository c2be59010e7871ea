#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_block_connector.h"

namespace Plm
{

class Block;
class Emitter;
class EmitterExportCompilerBase;

// One step of the runtime that a block stands for: most blocks are one operation (0); some are
// several (an area's constant square output, a transform's operations, an attached emitter's
// parameters).
struct BlockOp
{
    const Block* block = nullptr;
    unsigned int operId = 0;

    bool operator==(const BlockOp& o) const { return block == o.block && operId == o.operId; }
    bool operator!=(const BlockOp& o) const { return !(*this == o); }
};

// Which chain a walk is building: the runtime runs each at its own moment.
enum class ChainMember
{
    Generator,
    Init,
    Update,
    Terminator,
    Construct,
};

// Whether a block may be compiled at all. A target tightens the rules by overriding.
class EmitterExportValidityChecker
{
public:
    virtual ~EmitterExportValidityChecker() = default;
    // An expression must parse to its declared output type, an area must have an image, an
    // attached emitter must be chosen and enabled; every other block passes.
    virtual bool assertBlock(const Block& block) const;
};

// One ordered list of operations that the runtime runs at one moment, and what it needs to
// exist (the active operations: all that a chain reads, also those that aren't run in it,
// such as generators and constants).
class EmitterExporterChain
{
public:
    explicit EmitterExporterChain(EmitterExportCompilerBase& compiler) : compiler_(&compiler) {}
    EmitterExporterChain(const EmitterExporterChain&) = delete;
    EmitterExporterChain& operator=(const EmitterExporterChain&) = delete;

    // The operations on the walk's current path, by which a cycle is found.
    void clearRestrictedBlockOps() { restricted_.clear(); }
    void restrictBlockOp(const Block& block, unsigned int operId);
    void clearRestrictedBlockOp(const Block& block, unsigned int operId);
    bool isBlockOpRestricted(const Block& block, unsigned int operId) const;

    // Both lists keep the order of first arrival and hold no duplicates.
    void activateBlockOp(const Block& block, unsigned int operId);
    void activateAndChainBlockOp(const Block& block, unsigned int operId);
    bool hasActiveBlockOp(const Block& block, unsigned int operId) const;
    bool hasChainedBlockOp(const Block& block, unsigned int operId) const;
    unsigned int getNumActiveBlockOps() const { return static_cast<unsigned int>(active_.size()); }
    const BlockOp& getActiveBlockOp(unsigned int i) const { return active_.at(i); }
    unsigned int getNumChainedBlockOps() const
    {
        return static_cast<unsigned int>(chained_.size());
    }
    const BlockOp& getChainedBlockOp(unsigned int i) const { return chained_.at(i); }
    const std::vector<BlockOp>& chainedBlockOps() const { return chained_; }
    // Appends to `target` each active operation it doesn't hold yet.
    void squeezeActiveBlockOps(std::vector<BlockOp>& target) const;

    void addErrorBlock(const Block& block);
    void addErrorLink(const BlockLink& link);
    void addErrorConnector(const BlockConnector& connector);
    const EmitterExportValidityChecker& getValidityChecker() const;
    const Emitter& getEmitter() const;

private:
    EmitterExportCompilerBase* compiler_;
    std::vector<BlockOp> restricted_;
    std::vector<BlockOp> active_;
    std::vector<BlockOp> chained_;
};

// An attached emitter that the compiled effect holds: the block that attaches it and it.
struct ValidConnectedEmitter
{
    const Block* block = nullptr;
    const Emitter* emitter = nullptr;
};

// The walk from one emitter's graph to its chains, and the errors found on the way. An error
// doesn't stop the walk: the block, link or connector is recorded and the walk goes on, so
// that the editor can mark all of them.
class EmitterExportCompilerBase : public EmitterExportValidityChecker
{
public:
    // Answers whether an attached emitter is compiled into the same effect.
    using IsEmitterCompiled = std::function<bool(const Emitter&)>;

    EmitterExportCompilerBase(const Emitter& emitter, IsEmitterCompiled isEmitterCompiled);
    ~EmitterExportCompilerBase() override;
    EmitterExportCompilerBase(const EmitterExportCompilerBase&) = delete;
    EmitterExportCompilerBase& operator=(const EmitterExportCompilerBase&) = delete;

    // Builds the chains; an emitter without what it must have (a generator, a positioner) fails
    // with no block marked.
    void initialize();

    bool hasError() const;
    bool hasUnknownError() const { return unknownError_; }
    bool hasErrorBlock(const boost::uuids::uuid& id) const;
    bool hasErrorLink(const BlockLink& link) const;
    bool hasErrorConnector(const BlockConnector& connector) const;
    void addErrorBlock(const Block& block);
    void addErrorLink(const BlockLink& link);
    void addErrorConnector(const BlockConnector& connector);
    void setUnknownError() { unknownError_ = true; }
    const std::vector<boost::uuids::uuid>& errorBlocks() const { return errorBlocks_; }
    const std::vector<BlockLink>& errorLinks() const { return errorLinks_; }
    const std::vector<BlockConnector>& errorConnectors() const { return errorConnectors_; }

    const std::vector<ValidConnectedEmitter>& validConnectedEmitters() const
    {
        return connectedEmitters_;
    }
    void pushValidConnectedEmitter(const Block& block, const Emitter& emitter);
    boost::optional<unsigned int> getConnectedEmitterIndex(const Block& block) const;

    const Emitter& getEmitter() const { return emitter_; }
    bool isEmitterCompiled(const Emitter& emitter) const { return isEmitterCompiled_(emitter); }
    // The operations of all chains, in the order of first use: the compiled operation list.
    const std::vector<BlockOp>& activeBlocks() const { return activeBlocks_; }

protected:
    // True if the emitter has what it must have.
    virtual bool makeChains() = 0;
    EmitterExporterChain& newChain();
    void squeeze(const EmitterExporterChain& chain) { chain.squeezeActiveBlockOps(activeBlocks_); }

    // The roots of the walks, shared by the two kinds of compiler.
    void makeGlobalsChains(EmitterExporterChain& chain);
    void makeGeneratorChains(EmitterExporterChain& chain);
    // Particle parameters, the positioner and valid attached emitters into init, burst and
    // update.
    void makeParameterChains(EmitterExporterChain& init, EmitterExporterChain& burst,
                             EmitterExporterChain& update);
    void makeTerminatorChains(EmitterExporterChain& chain);
    void makeConstructChains(EmitterExporterChain& chain);

private:
    const Emitter& emitter_;
    IsEmitterCompiled isEmitterCompiled_;
    std::vector<std::unique_ptr<EmitterExporterChain>> chains_;
    std::vector<ValidConnectedEmitter> connectedEmitters_;
    bool unknownError_ = false;
    std::vector<boost::uuids::uuid> errorBlocks_;
    std::vector<BlockLink> errorLinks_;
    std::vector<BlockConnector> errorConnectors_;
    std::vector<BlockOp> activeBlocks_;
};

// Seven chains: globals, generator, init, init burst, update, terminators, constructors. The
// binary and the JavaScript targets.
class EmitterExportCompilerOld : public EmitterExportCompilerBase
{
public:
    using EmitterExportCompilerBase::EmitterExportCompilerBase;

    const EmitterExporterChain& globalsChain() const { return *globals_; }
    const EmitterExporterChain& generatorChain() const { return *generator_; }
    const EmitterExporterChain& initChain() const { return *init_; }
    const EmitterExporterChain& initBurstChain() const { return *burst_; }
    const EmitterExporterChain& updateChain() const { return *update_; }
    const EmitterExporterChain& terminatorChain() const { return *terminator_; }
    const EmitterExporterChain& constructChain() const { return *construct_; }

protected:
    bool makeChains() override;

private:
    EmitterExporterChain* globals_ = nullptr;
    EmitterExporterChain* generator_ = nullptr;
    EmitterExporterChain* init_ = nullptr;
    EmitterExporterChain* burst_ = nullptr;
    EmitterExporterChain* update_ = nullptr;
    EmitterExporterChain* terminator_ = nullptr;
    EmitterExporterChain* construct_ = nullptr;
};

// Four chains: globals with generators, init, init burst, and one update chain that also
// holds the terminators and the constructors. The C# target; it needs a terminator too.
class EmitterExportCompilerNew : public EmitterExportCompilerBase
{
public:
    using EmitterExportCompilerBase::EmitterExportCompilerBase;

    const EmitterExporterChain& generatorChain() const { return *generator_; }
    const EmitterExporterChain& initChain() const { return *init_; }
    const EmitterExporterChain& initBurstChain() const { return *burst_; }
    const EmitterExporterChain& updateChain() const { return *update_; }

protected:
    bool makeChains() override;

private:
    EmitterExporterChain* generator_ = nullptr;
    EmitterExporterChain* init_ = nullptr;
    EmitterExporterChain* burst_ = nullptr;
    EmitterExporterChain* update_ = nullptr;
};

}  // namespace Plm
