#include "particle_layout_model/plm_export_chains.h"

#include <algorithm>

#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_func_area.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_path.h"
#include "particle_layout_model/plm_block_func_transform3.h"
#include "particle_layout_model/plm_block_generator.h"
#include "particle_layout_model/plm_block_param.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_param_lifetime.h"
#include "particle_layout_model/plm_block_param_user.h"
#include "particle_layout_model/plm_block_param_user_updater.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_block_terminator.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_system.h"

namespace Plm
{

namespace
{

template <class T>
bool contains(const std::vector<T>& items, const T& item)
{
    return std::find(items.begin(), items.end(), item) != items.end();
}

template <class T>
void pushUnique(std::vector<T>& items, const T& item)
{
    if (!contains(items, item))
        items.push_back(item);
}

// The walk of one chain, in the order of the connectors: what feeds an operation comes before
// it. Each block kind answers the arrival of the walk through a link by its category.
class Walk
{
public:
    Walk(EmitterExporterChain& chain, ChainMember member) : chain_(chain), member_(member) {}

    // Every input of the block, in connector order.
    void sourcesOf(const Block& block)
    {
        for (unsigned int i = 0; i < block.getNumConnectors(); ++i)
            if (block.getConnectorDesc(i).dir_ == CD_Input)
                sourceOn(block.getConnector(i));
    }

    // The block that feeds one input; an input without a link is an error of that input.
    void sourceOn(const BlockConnector& connector)
    {
        DEBUG_ASSERT(connector.desc_.dir_ == CD_Input);
        const Emitter& emitter = chain_.getEmitter();
        for (unsigned int i = 0; i < emitter.getNumLinks(); ++i)
        {
            const BlockLink& link = emitter.getLink(i);
            if (link.input_ != connector)
                continue;
            if (const Block* source = emitter.findBlockById(link.output_.blockId))
                arriveAt(*source, link);
            else
                chain_.addErrorLink(link);
            return;
        }
        chain_.addErrorConnector(connector);
    }

    // A function block, reached through `link` or as a root.
    void function(const BlockFunc& block, const boost::optional<BlockLink>& link)
    {
        // Constant outputs: no inputs to follow.
        if (dynamic_cast<const BlockFuncArea*>(&block) && link &&
            link->output_.desc_.index_ == BlockFuncArea::CI_OutputSquare)
        {
            chain_.activateBlockOp(block, 1);
            return;
        }
        if (dynamic_cast<const BlockFuncPath*>(&block) && link &&
            link->output_.desc_.index_ == BlockFuncPath::kLengthConnector)
        {
            chain_.activateBlockOp(block, 1);
            return;
        }
        // Come round in a cycle: the link that closes it is the error.
        if (link && chain_.isBlockOpRestricted(block, 0))
        {
            chain_.addErrorLink(*link);
            return;
        }
        if (!chain_.getValidityChecker().assertBlock(block))
        {
            chain_.addErrorBlock(block);
            return;
        }
        chain_.restrictBlockOp(block, 0);
        sourcesOf(block);
        chain_.clearRestrictedBlockOp(block, 0);
        if (const auto* transform = dynamic_cast<const BlockFuncTransform3*>(&block))
        {
            if (!transform->hasShiftOperations())
                chain_.activateAndChainBlockOp(block, 0);
            if (!transform->hasRotationOperations())
                chain_.activateAndChainBlockOp(block, 1);
            for (unsigned int i = 0; i < transform->getNumOperations(); ++i)
                chain_.activateAndChainBlockOp(block,
                                               BlockFuncTransform3::CI_OperationInputsBegin + i);
            return;
        }
        chain_.activateAndChainBlockOp(block, 0);
    }

    // A global value: no inputs.
    void global(const Block& block)
    {
        if (chain_.getValidityChecker().assertBlock(block))
            chain_.activateAndChainBlockOp(block, 0);
        else
            chain_.addErrorBlock(block);
    }

private:
    // What the block that feeds `link` answers, by its category and the chain.
    void arriveAt(const Block& source, const BlockLink& link)
    {
        if (const BlockFunc* func = source.castToBlockFunc())
        {
            function(*func, link);
            return;
        }
        if (source.castToBlockGlob())
        {
            global(source);
            return;
        }
        if (source.castToBlockGenerator())
        {
            if (member_ == ChainMember::Generator && chain_.isBlockOpRestricted(source, 0))
                chain_.addErrorLink(link);
            return;
        }
        if (dynamic_cast<const BlockParamLifetime*>(&source))
        {
            if (member_ == ChainMember::Generator)
                chain_.addErrorBlock(source);
            else if (member_ == ChainMember::Init && !chain_.hasActiveBlockOp(source, 0))
                chain_.addErrorLink(link);
            return;
        }
        if (BlockParamUser::castToThis(&source))
        {
            switch (member_)
            {
            case ChainMember::Generator:
                chain_.addErrorBlock(source);
                break;
            case ChainMember::Init:
                // Read in its own init, or before it is set: later parameters aren't yet.
                if (chain_.isBlockOpRestricted(source, 0) || !chain_.hasActiveBlockOp(source, 0))
                    chain_.addErrorLink(link);
                break;
            default:
                chain_.activateBlockOp(source, 0);
                break;
            }
            return;
        }
        // Terminators, constructors, the positioner, updaters, attached emitters: no sources.
        chain_.addErrorBlock(source);
    }

    EmitterExporterChain& chain_;
    ChainMember member_;
};

const BlockParamEmitter* asParamEmitter(const Block& block)
{
    const BlockParam* param = block.castToBlockParam();
    return param ? param->castToBlockParamEmitterParam() : nullptr;
}

}  // namespace

bool EmitterExportValidityChecker::assertBlock(const Block& block) const
{
    if (const auto* expression = dynamic_cast<const BlockFuncExpression*>(&block))
        return expression->isValid();
    if (const auto* area = dynamic_cast<const BlockFuncArea*>(&block))
        return area->getArea().isValid();
    if (const BlockParamEmitter* attach = asParamEmitter(block))
    {
        const boost::optional<boost::uuids::uuid>& id = attach->getEmitterId();
        const System* system = block.getSystem();
        const Emitter* emitter = id && system ? system->getEmitterById(*id) : nullptr;
        return emitter && emitter->isEnabled();
    }
    return true;
}

// The chain.

void EmitterExporterChain::restrictBlockOp(const Block& block, unsigned int operId)
{
    DEBUG_ASSERT(!isBlockOpRestricted(block, operId));
    restricted_.push_back({&block, operId});
}

void EmitterExporterChain::clearRestrictedBlockOp(const Block& block, unsigned int operId)
{
    auto it = std::find(restricted_.begin(), restricted_.end(), BlockOp{&block, operId});
    DEBUG_ASSERT(it != restricted_.end());
    restricted_.erase(it);
}

bool EmitterExporterChain::isBlockOpRestricted(const Block& block, unsigned int operId) const
{
    return contains(restricted_, BlockOp{&block, operId});
}

void EmitterExporterChain::activateBlockOp(const Block& block, unsigned int operId)
{
    pushUnique(active_, BlockOp{&block, operId});
}

void EmitterExporterChain::activateAndChainBlockOp(const Block& block, unsigned int operId)
{
    activateBlockOp(block, operId);
    pushUnique(chained_, BlockOp{&block, operId});
}

bool EmitterExporterChain::hasActiveBlockOp(const Block& block, unsigned int operId) const
{
    return contains(active_, BlockOp{&block, operId});
}

bool EmitterExporterChain::hasChainedBlockOp(const Block& block, unsigned int operId) const
{
    return contains(chained_, BlockOp{&block, operId});
}

void EmitterExporterChain::squeezeActiveBlockOps(std::vector<BlockOp>& target) const
{
    for (const BlockOp& op : active_)
        pushUnique(target, op);
}

void EmitterExporterChain::addErrorBlock(const Block& block) { compiler_->addErrorBlock(block); }

void EmitterExporterChain::addErrorLink(const BlockLink& link) { compiler_->addErrorLink(link); }

void EmitterExporterChain::addErrorConnector(const BlockConnector& connector)
{
    compiler_->addErrorConnector(connector);
}

const EmitterExportValidityChecker& EmitterExporterChain::getValidityChecker() const
{
    return *compiler_;
}

const Emitter& EmitterExporterChain::getEmitter() const { return compiler_->getEmitter(); }

// The compiler of one emitter.

EmitterExportCompilerBase::EmitterExportCompilerBase(const Emitter& emitter,
                                                     IsEmitterCompiled isEmitterCompiled)
    : emitter_(emitter), isEmitterCompiled_(std::move(isEmitterCompiled))
{
}

EmitterExportCompilerBase::~EmitterExportCompilerBase() = default;

void EmitterExportCompilerBase::initialize()
{
    if (!makeChains())
        setUnknownError();
}

bool EmitterExportCompilerBase::hasError() const
{
    return unknownError_ || !errorBlocks_.empty() || !errorLinks_.empty() ||
           !errorConnectors_.empty();
}

bool EmitterExportCompilerBase::hasErrorBlock(const boost::uuids::uuid& id) const
{
    return contains(errorBlocks_, id);
}

bool EmitterExportCompilerBase::hasErrorLink(const BlockLink& link) const
{
    return contains(errorLinks_, link);
}

bool EmitterExportCompilerBase::hasErrorConnector(const BlockConnector& connector) const
{
    return contains(errorConnectors_, connector);
}

void EmitterExportCompilerBase::addErrorBlock(const Block& block)
{
    pushUnique(errorBlocks_, block.getId());
}

void EmitterExportCompilerBase::addErrorLink(const BlockLink& link)
{
    pushUnique(errorLinks_, link);
}

void EmitterExportCompilerBase::addErrorConnector(const BlockConnector& connector)
{
    pushUnique(errorConnectors_, connector);
}

void EmitterExportCompilerBase::pushValidConnectedEmitter(const Block& block,
                                                          const Emitter& emitter)
{
    connectedEmitters_.push_back({&block, &emitter});
}

boost::optional<unsigned int>
EmitterExportCompilerBase::getConnectedEmitterIndex(const Block& block) const
{
    for (unsigned int i = 0; i < connectedEmitters_.size(); ++i)
        if (connectedEmitters_[i].block == &block)
            return i;
    return boost::none;
}

EmitterExporterChain& EmitterExportCompilerBase::newChain()
{
    chains_.push_back(std::make_unique<EmitterExporterChain>(*this));
    return *chains_.back();
}

void EmitterExportCompilerBase::makeGlobalsChains(EmitterExporterChain& chain)
{
    for (const BlockGlob& block : emitter_.globBlocks())
        Walk(chain, ChainMember::Generator).global(block);
}

void EmitterExportCompilerBase::makeGeneratorChains(EmitterExporterChain& chain)
{
    // The runtime drives a generator itself: it is active, not chained, and reads only
    // functions and globals.
    for (const BlockGenerator& block : emitter_.generatorBlocks())
    {
        chain.clearRestrictedBlockOps();
        chain.restrictBlockOp(block, 0);
        Walk(chain, ChainMember::Generator).sourcesOf(block);
        chain.clearRestrictedBlockOp(block, 0);
        chain.activateBlockOp(block, 0);
    }
}

void EmitterExportCompilerBase::makeParameterChains(EmitterExporterChain& init,
                                                    EmitterExporterChain& burst,
                                                    EmitterExporterChain& update)
{
    auto clear = [&]
    {
        init.clearRestrictedBlockOps();
        burst.clearRestrictedBlockOps();
    };
    for (const BlockParam& block : emitter_.paramBlocks())
    {
        if (asParamEmitter(block))
            continue;
        if (const BlockParamUser* param = BlockParamUser::castToThis(&block))
        {
            // A user parameter keeps its birth value; with a shared burst, the burst chain
            // holds its step but not the steps of its inputs, computed once for all.
            clear();
            init.restrictBlockOp(block, 0);
            burst.restrictBlockOp(block, 0);
            Walk(init, ChainMember::Init).sourcesOf(block);
            if (!param->isSharedBurst())
                Walk(burst, ChainMember::Init).sourcesOf(block);
            init.clearRestrictedBlockOp(block, 0);
            burst.clearRestrictedBlockOp(block, 0);
            init.activateAndChainBlockOp(block, 0);
            burst.activateAndChainBlockOp(block, 0);
            update.activateBlockOp(block, 0);
        }
        else if (block.castToBlockParamUpdater())
        {
            update.clearRestrictedBlockOps();
            Walk(update, ChainMember::Update).sourcesOf(block);
            update.activateAndChainBlockOp(block, 0);
        }
        else if (dynamic_cast<const BlockParamLifetime*>(&block))
        {
            init.activateBlockOp(block, 0);
            burst.activateBlockOp(block, 0);
            update.activateAndChainBlockOp(block, 0);
        }
    }

    const auto& positioners = emitter_.positionerBlocks();
    if (positioners.size() > 0)
    {
        DEBUG_ASSERT(positioners.size() == 1);
        const BlockPositioner& positioner = positioners[0];
        const boost::optional<BlockConnector> position = positioner.findConnectorById(0);
        clear();
        if (position)
        {
            Walk(init, ChainMember::Init).sourceOn(*position);
            Walk(burst, ChainMember::Init).sourceOn(*position);
        }
        init.activateAndChainBlockOp(positioner, 0);
        burst.activateAndChainBlockOp(positioner, 0);
        update.clearRestrictedBlockOps();
        if (position)
            Walk(update, ChainMember::Update).sourceOn(*position);
        update.activateAndChainBlockOp(positioner, 0);
    }

    for (const BlockParamEmitter& block : emitter_.paramEmitterBlocks())
    {
        if (!assertBlock(block))
            continue;
        const Emitter* attached = block.getSystem()->getEmitterById(*block.getEmitterId());
        if (!isEmitterCompiled(*attached))
            continue;
        clear();
        Walk(init, ChainMember::Init).sourcesOf(block);
        Walk(burst, ChainMember::Init).sourcesOf(block);
        for (EmitterExporterChain* chain : {&init, &burst})
        {
            chain->activateAndChainBlockOp(block, 0);
            for (unsigned int i = 0; i < block.getNumConnectors(); ++i)
                chain->activateAndChainBlockOp(block, 100 + i);
        }
        update.clearRestrictedBlockOps();
        Walk(update, ChainMember::Update).sourcesOf(block);
        for (unsigned int i = 0; i < block.getNumConnectors(); ++i)
            update.activateAndChainBlockOp(block, 100 + i);
        update.activateAndChainBlockOp(block, 1);
        pushValidConnectedEmitter(block, *attached);
    }
}

void EmitterExportCompilerBase::makeTerminatorChains(EmitterExporterChain& chain)
{
    for (const BlockTerminator& block : emitter_.terminatorBlocks())
    {
        chain.clearRestrictedBlockOps();
        Walk(chain, ChainMember::Terminator).sourcesOf(block);
        chain.activateBlockOp(block, 0);
    }
}

void EmitterExportCompilerBase::makeConstructChains(EmitterExporterChain& chain)
{
    // A constructor that isn't exported may leave its inputs unconnected.
    for (const BlockConstruct& block : emitter_.constructBlocks())
    {
        if (!block.isExportable())
            continue;
        // Every constructor passes the binary target's check; a text target refuses strips.
        if (!assertBlock(block))
        {
            addErrorBlock(block);
            continue;
        }
        for (unsigned int i = 0; i < block.getNumConnectors(); ++i)
            if (block.getConnectorDesc(i).dir_ == CD_Input)
            {
                chain.clearRestrictedBlockOps();
                Walk(chain, ChainMember::Construct).sourceOn(block.getConnector(i));
            }
        chain.activateBlockOp(block, 0);
    }
}

bool EmitterExportCompilerOld::makeChains()
{
    globals_ = &newChain();
    generator_ = &newChain();
    init_ = &newChain();
    burst_ = &newChain();
    update_ = &newChain();
    terminator_ = &newChain();
    construct_ = &newChain();

    makeGlobalsChains(*globals_);
    squeeze(*globals_);
    makeGeneratorChains(*generator_);
    squeeze(*generator_);
    makeParameterChains(*init_, *burst_, *update_);
    squeeze(*init_);
    squeeze(*burst_);
    squeeze(*update_);
    makeTerminatorChains(*terminator_);
    squeeze(*terminator_);
    makeConstructChains(*construct_);
    squeeze(*construct_);
    return getEmitter().generatorBlocks().size() > 0 && getEmitter().positionerBlocks().size() > 0;
}

bool EmitterExportCompilerNew::makeChains()
{
    generator_ = &newChain();
    init_ = &newChain();
    burst_ = &newChain();
    update_ = &newChain();

    makeGlobalsChains(*generator_);
    makeGeneratorChains(*generator_);
    squeeze(*generator_);
    makeParameterChains(*init_, *burst_, *update_);
    makeTerminatorChains(*update_);
    makeConstructChains(*update_);
    squeeze(*init_);
    squeeze(*burst_);
    squeeze(*update_);
    const Emitter& emitter = getEmitter();
    return emitter.generatorBlocks().size() > 0 && emitter.terminatorBlocks().size() > 0 &&
           emitter.positionerBlocks().size() > 0;
}

}  // namespace Plm
