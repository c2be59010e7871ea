#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>
#include <glm/vec2.hpp>

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_ordered_id_list_client.h"
#include "particle_layout_model/plm_ps_enums.h"
#include "revision_saveload/sl_exceptions.h"

namespace Plm
{

class Emitter;
class EmitterGuide;
class EmitterParamBlocksColorizer;
class EmitterSyncer;
class ExternalResourcesMap;
class System;

// What an emitter knows of its surroundings: the resource that holds it, in an effect or in
// a project.
class EmitterOwner
{
public:
    virtual ~EmitterOwner() = default;
    virtual ProjectResource* getProjectResource() = 0;
    virtual SystemResource* getSystemResource() = 0;
    virtual void notifyDeepChanged(bool affectsExport) = 0;
    virtual bool isLockedByParentReflection(const Emitter& emitter) const = 0;
    // The effect the emitter lies in, or null.
    virtual System* getSystem() = 0;
};

// A saved emitter that can't be taken as it is: the graph breaks its rules. Carries a text
// for the log and the user.
class EmitterLoadException : public Sl::CorruptedDataException
{
public:
    explicit EmitterLoadException(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

// A saved emitter holds a block of a kind this program doesn't know.
class UnknownBlockKindException : public EmitterLoadException
{
public:
    explicit UnknownBlockKindException(const std::string& factoryName)
        : EmitterLoadException("unknown block kind \"" + factoryName + "\""),
          factoryName_(factoryName)
    {
    }
    const std::string& factoryName() const { return factoryName_; }

private:
    std::string factoryName_;
};

// The graph of one stream of particles: the blocks, the links between them and the settings
// of its own. It owns its blocks; the ten lists keep the order of the blocks by category.
class Emitter : public PropsOwner, public BlockOwner
{
public:
    using Uuid = boost::uuids::uuid;
    struct LoadFlag
    {
    };

    // The block lists, in the order of the file.
    enum EnumBlockList : unsigned int
    {
        BL_All,
        BL_Glob,
        BL_Generator,
        BL_Param,
        BL_Func,
        BL_Terminator,
        BL_Positioner,
        BL_Construct,
        BL_ParamEmitter,
        BL_GlobParam,
        BL_Count
    };
    static const char* blockListKey(EnumBlockList list);
    static bool isInBlockList(EnumBlockList list, const Block& block);

    // An emitter with new identifiers, default settings and no blocks.
    explicit Emitter(std::string name);
    explicit Emitter(LoadFlag);
    ~Emitter() override;
    Emitter& operator=(const Emitter&) = delete;

    // A new emitter with its guide, which builds the first blocks and links them. (The
    // constructor alone makes an emitter without blocks and without a guide.)
    static std::unique_ptr<Emitter> create(const std::string& name);
    // For loadWithoutBlocks: no colorizer until then.
    static std::unique_ptr<Emitter> createForLoad();

    // A copy without blocks and links, to be filled by its first synchronisation, with this
    // emitter as its direct source.
    std::unique_ptr<Emitter> reflect(const ReflectionSourceRef& ref) const;
    // The same, matched to this emitter by the systemReflId, without a direct source.
    std::unique_ptr<Emitter> reflectIndirect(AccessKey<System>) const;

    // Surroundings.
    void connectWithOwner(EmitterOwner& owner) { owner_ = &owner; }
    EmitterOwner* getOwner() const { return owner_; }
    System* getSystem() const { return owner_ ? owner_->getSystem() : nullptr; }

    // Identity and state.
    const Uuid& getId() const { return id_; }
    const Uuid& getSystemReflId() const { return systemReflId_; }
    const Uuid& getRevision() const { return revision_; }
    const Uuid& getDeepRevision() const { return deepRevision_; }
    const boost::optional<Uuid>& getDirReflRev() const { return dirReflRev_; }
    const boost::optional<Uuid>& getSysReflRev() const { return sysReflRev_; }
    const boost::optional<Uuid>& getGuideReflRev() const { return guideReflRev_; }
    bool isCopiedButNotSynced() const { return copiedButNotSynced_; }
    const std::string& getName() const { return name_; }
    const boost::optional<ReflectionSourceRef>& getReflSourceRef() const { return reflSource_; }
    void setReflSourceRef(const boost::optional<ReflectionSourceRef>& ref, AccessKey<System>);
    void _regenerateSystemReflId(AccessKey<System>);

    // Settings.
    void setName(const std::string& name);
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);
    bool isStandalone() const { return standalone_.get(); }
    void setStandalone(const boost::optional<bool>& value);
    unsigned int getMaxNumParticles() const { return maxNumParticles_.get(); }
    void setMaxNumParticles(const boost::optional<unsigned int>& value);
    Ps::EnumEmitterSorting getSorting() const { return sorting_.get(); }
    void setSorting(const boost::optional<Ps::EnumEmitterSorting>& value);
    const glm::vec2& getTopBlocksLayoutPos() const { return topBlocksLayoutPos_.get(); }
    void setTopBlocksLayoutPos(const boost::optional<glm::vec2>& value);
    const glm::vec2& getLeftBlocksLayoutPos() const { return leftBlocksLayoutPos_.get(); }
    void setLeftBlocksLayoutPos(const boost::optional<glm::vec2>& value);
    const glm::vec2& getBottomBlocksLayoutPos() const { return bottomBlocksLayoutPos_.get(); }
    void setBottomBlocksLayoutPos(const boost::optional<glm::vec2>& value);
    // View toggles of the tree and the preview: not edits of the emitter, so no new revision.
    bool isGeometryVisible() const { return geometryVisible_; }
    void setGeometryVisible(bool visible) { geometryVisible_ = visible; }
    bool isWireframeVisible() const { return wireframeVisible_; }
    void setWireframeVisible(bool visible) { wireframeVisible_ = visible; }
    // Carried through files only.
    bool getReservedFlag() const { return reservedFlag_; }
    // After the scheme has moved a parameter in its list.
    void bakeBlockParamsIndexChange() { notifyPropChanged(true); }
    bool areGlobalParametersUpdated() const { return globalParametersUpdated_; }
    void clearGlobalParametersUpdated() { globalParametersUpdated_ = false; }
    void notifyGlobalParametersUpdated() { globalParametersUpdated_ = true; }

    // The colours of the user parameters; null only between createForLoad and its load.
    const EmitterParamBlocksColorizer* paramBlocksColorizer() const { return colorizer_.get(); }
    // The form view of the emitter, or null.
    EmitterGuide* guide() const { return guide_.get(); }

    // Blocks.
    Block& addBlock(std::unique_ptr<Block> block);
    // A reflection of `source` with that reference, added to this emitter.
    Block& addBlockReflection(const Block& source, const ReflectionSourceRef& ref);
    // A reflection of `block` with that source, not yet added anywhere.
    std::unique_ptr<Block> reflectBlock(const Block& block, const ReflectionSourceRef& ref) const;
    void removeBlock(const Uuid& id);
    // Reads one block as saveBlock wrote it and adds it. An unknown kind raises
    // UnknownBlockKindException, a second block of one id EmitterLoadException.
    Block& loadBlock(Sl::RevisionLoader& loader);
    void saveBlock(Sl::RevisionSaver& saver, const Block& block) const { block.save(saver); }

    Block* findBlockById(const Uuid& id) const;
    Block& getBlockById(const Uuid& id) const;
    BlockGlob& getGlobBlockById(const Uuid& id) const;
    BlockGenerator& getGeneratorBlockById(const Uuid& id) const;
    BlockParam& getParamBlockById(const Uuid& id) const;
    BlockFunc& getFuncBlockById(const Uuid& id) const;
    BlockTerminator& getTerminatorBlockById(const Uuid& id) const;
    BlockPositioner& getPositionerBlockById(const Uuid& id) const;
    BlockConstruct& getConstructBlockById(const Uuid& id) const;
    BlockParamEmitter& getParamEmitterBlockById(const Uuid& id) const;
    BlockGlobParam& getGlobParamBlockById(const Uuid& id) const;
    Block* findBlockBySystemReflId(const Uuid& id) const;
    Block* findBlockByEmitterReflId(const Uuid& id) const;
    bool doesHaveReflectedBlock(const Uuid& id) const;
    void
    enumerateExternalDependeciesHolders(const std::function<void(ExternalDependencyHolder&)>& f);
    void enumerateExternalDependeciesHolders(
        const std::function<void(const ExternalDependencyHolder&)>& f) const;
    // Files this emitter or its blocks reflect: its own source if external, then each
    // block's, each path once.
    void extractExternalSources(std::vector<boost::filesystem::path>& paths) const;
    // A source file moved. If it was the emitter's own source, the blocks are left alone.
    void replaceDeepExternalSource(const boost::filesystem::path& from,
                                   const boost::filesystem::path& to);

    // The ordered lists.
    OrderedIdListClient<Block>& allBlocks() { return allBlocks_; }
    const OrderedIdListClient<Block>& allBlocks() const { return allBlocks_; }
    OrderedIdListClient<BlockGlob>& globBlocks() { return globBlocks_; }
    const OrderedIdListClient<BlockGlob>& globBlocks() const { return globBlocks_; }
    OrderedIdListClient<BlockGenerator>& generatorBlocks() { return generatorBlocks_; }
    const OrderedIdListClient<BlockGenerator>& generatorBlocks() const { return generatorBlocks_; }
    OrderedIdListClient<BlockParam>& paramBlocks() { return paramBlocks_; }
    const OrderedIdListClient<BlockParam>& paramBlocks() const { return paramBlocks_; }
    OrderedIdListClient<BlockFunc>& funcBlocks() { return funcBlocks_; }
    const OrderedIdListClient<BlockFunc>& funcBlocks() const { return funcBlocks_; }
    OrderedIdListClient<BlockTerminator>& terminatorBlocks() { return terminatorBlocks_; }
    const OrderedIdListClient<BlockTerminator>& terminatorBlocks() const
    {
        return terminatorBlocks_;
    }
    OrderedIdListClient<BlockPositioner>& positionerBlocks() { return positionerBlocks_; }
    const OrderedIdListClient<BlockPositioner>& positionerBlocks() const
    {
        return positionerBlocks_;
    }
    OrderedIdListClient<BlockConstruct>& constructBlocks() { return constructBlocks_; }
    const OrderedIdListClient<BlockConstruct>& constructBlocks() const { return constructBlocks_; }
    OrderedIdListClient<BlockParamEmitter>& paramEmitterBlocks() { return paramEmitterBlocks_; }
    const OrderedIdListClient<BlockParamEmitter>& paramEmitterBlocks() const
    {
        return paramEmitterBlocks_;
    }
    OrderedIdListClient<BlockGlobParam>& globParamBlocks() { return globParamBlocks_; }
    const OrderedIdListClient<BlockGlobParam>& globParamBlocks() const { return globParamBlocks_; }
    const std::vector<Uuid>& blockList(EnumBlockList list) const { return lists_[list]; }

    // Links: own ones first, then the reflected ones.
    unsigned int getNumLinks() const;
    const BlockLink& getLink(unsigned int i) const;
    bool isLinkReflected(unsigned int i) const { return i >= links_.size(); }
    unsigned int getNumOwnLinks() const { return static_cast<unsigned int>(links_.size()); }
    // The connector indices are the connectors' fixed numbers (BlockConnectorDesc::index_).
    boost::optional<unsigned int> getLinkIndex(const BlockLink& link) const;
    boost::optional<unsigned int> getLinkIndex(const BlockConnector& output, const Block& input,
                                               unsigned int inputIndex) const;
    boost::optional<unsigned int> getLinkIndex(const Block& output, unsigned int outputIndex,
                                               const BlockConnector& input) const;
    boost::optional<unsigned int> getLinkIndex(const Block& output, unsigned int outputIndex,
                                               const Block& input, unsigned int inputIndex) const;
    bool isLinkToInputPossible(const BlockConnector&) const { return true; }
    // The first link with this connector on either side.
    boost::optional<unsigned int> getLinkOnInputConnector(const BlockConnector& conn) const;
    // False for a link that exists already or joins two types; an input has one feeder, so a
    // link on an input replaces the one there.
    bool createLink(const BlockLink& link);
    bool createLink(const BlockConnector& output, const Block& input, unsigned int inputIndex);
    bool createLink(const Block& output, unsigned int outputIndex, const BlockConnector& input);
    bool createLink(const Block& output, unsigned int outputIndex, const Block& input,
                    unsigned int inputIndex);
    void clearNonReflectedConnector(const BlockConnector& conn);
    void removeObsoleteBlockLinksAfterConnectorsUpdate(const Block& block, AccessKey<Block>);
    const std::vector<Uuid>& getReflBlocks() const { return reflBlocks_; }

    // Relations to the other emitters of the effect.
    bool hasAnyLevelConnectedEmitter(const Uuid& id) const;
    bool hasAnyLevelReflection(const Uuid& id) const;
    void detachFromRelatedEmitters();
    // Blocks that take `block` as their internal source, and aren't there only by reflection,
    // lose the source and keep their values.
    void separateNonReflectedBlockReflections(const Block& block);

    // Reflection. Follows the counterpart in the effect this emitter's effect reflects
    // (found in `sourceSystem` by systemReflId) and the direct source: the settings that
    // follow, which blocks exist, the order of the parameters, the blocks' sources, every
    // block, the links and the guide. Sources whose revision didn't move since the last pass
    // only have their blocks visited. External block sources are looked up in `map`.
    void syncDeep(System* sourceSystem, Emitter* directSource, const ExternalResourcesMap& map);
    // Cuts the emitter loose from its direct source: every block and link becomes its own.
    // Not for an emitter that is there only because its effect reflects another.
    void separate();
    // The effect that holds this emitter stops reflecting its source: the emitter keeps its
    // direct source, if that is found, with the blocks it still has; the rest become own.
    void separateWhileParentSeparation(System* system, const ExternalResourcesMap& map,
                                       AccessKey<System>);

    // Files. The effect writes the emitter without its blocks, then all blocks, then the guides.
    void saveWithoutBlocks(Sl::RevisionSaver& saver) const;
    void loadWithoutBlocks(Sl::RevisionLoader& loader);
    void saveEmitterGuide(Sl::RevisionSaver& saver) const;
    void loadEmitterGuide(Sl::RevisionLoader& loader);
    // After the last loadBlock: every list, reflected block and link must name blocks and
    // connectors that exist, and an input has one feeder; else EmitterLoadException. Blocks
    // that a list misses (lists older files didn't have) are appended to it.
    void checkLoadedBlocks();
    // For files that kept the position of particles in the constructor: links the positioner
    // the effect has added where the constructor's position input was fed, and gives it the
    // constructor's position.
    void restorePositionerLink();
    void postLoad();

    // Change.
    void upgradeRevision(bool affectsExport);

    // PropsOwner
    void notifyPropChanged(bool affectsExport) override { upgradeRevision(affectsExport); }

    // BlockOwner
    ProjectResource* getProjectResource() override;
    SystemResource* getSystemResource() override;
    Emitter* getEmitter() override { return this; }
    void notifyDeepChanged(bool affectsExport) override;
    bool isLockedByParentReflection(const Block& block) const override
    {
        return doesHaveReflectedBlock(block.getId());
    }

private:
    Emitter(const Emitter& other);

    void filterAndDispatchBlock(const Block& block);
    void filterAndDispatchBlocks();
    void updateColorizer();
    void removeBlockSilent(const Uuid& id);
    void removeAllNonReflectedUpdaters(const Uuid& paramId);
    void eraseOwnLinksIf(const std::function<bool(const BlockLink&)>& pred);
    bool linkSideExists(const BlockConnector& side, EnumConnectorDir dir) const;
    bool hasAnyLevelConnectedEmitter(const Uuid& id, std::vector<Uuid>& visited) const;
    bool hasAnyLevelReflection(const Uuid& id, std::vector<Uuid>& visited) const;

    template <class T>
    T& getCastBlockById(const Uuid& id, T* (Block::*cast)()) const;

    // Reflection, in the order of a synchronisation.
    void syncProps(const EmitterSyncer& syncer);
    void syncEmitterBlocksPresence(const EmitterSyncer& syncer, const ExternalResourcesMap& map);
    void removeBlockWhileReflectionSync(const Uuid& id);
    void addBlockWhileReflectionSync(const EmitterSyncer& syncer, const ExternalResourcesMap& map,
                                     const Block& source, boost::optional<Uuid> emitterReflId,
                                     boost::optional<Uuid> systemReflId);
    // Updaters copied from a source name the source's parameter: each takes the parameter
    // here that reflects it, found through `find` (from the parameter's id in the source).
    void fixUpdatersAfterReflection(const std::function<Block*(const Uuid&)>& find);
    void syncParamsOrder(const EmitterSyncer& syncer);
    void syncDirectReflections(const EmitterSyncer& syncer);
    void syncAllBlocks(System* sourceSystem, Emitter* directSource,
                       const ExternalResourcesMap& map);
    void recursiveBlockSync(System* sourceSystem, Emitter* systemSource, Emitter* directSource,
                            Block* directBlock, Block& block, std::vector<Uuid>& visited);
    void syncLinks(const EmitterSyncer& syncer);
    // The block's own source: through `map` when it lies in another file, else in this file.
    Block* findDirectBlockSource(const Block& block, const ExternalResourcesMap& map);

    EmitterOwner* owner_ = nullptr;
    boost::optional<ReflectionSourceRef> reflSource_;
    Uuid id_{};
    Uuid systemReflId_{};
    Uuid revision_{};
    Uuid deepRevision_{};
    boost::optional<Uuid> dirReflRev_;
    boost::optional<Uuid> sysReflRev_;
    bool copiedButNotSynced_ = false;
    std::string name_;
    std::map<Uuid, std::unique_ptr<Block>> blocks_;
    std::array<std::vector<Uuid>, BL_Count> lists_;
    // The lists' views, each with its lookup by id.
    template <class T>
    std::function<T&(const Uuid&)> lookup(T& (Emitter::*get)(const Uuid&) const) const
    {
        return [this, get](const Uuid& id) -> T& { return (this->*get)(id); };
    }
    OrderedIdListClient<Block> allBlocks_{lists_[BL_All], lookup(&Emitter::getBlockById)};
    OrderedIdListClient<BlockGlob> globBlocks_{lists_[BL_Glob], lookup(&Emitter::getGlobBlockById)};
    OrderedIdListClient<BlockGenerator> generatorBlocks_{lists_[BL_Generator],
                                                         lookup(&Emitter::getGeneratorBlockById)};
    OrderedIdListClient<BlockParam> paramBlocks_{lists_[BL_Param],
                                                 lookup(&Emitter::getParamBlockById)};
    OrderedIdListClient<BlockFunc> funcBlocks_{lists_[BL_Func], lookup(&Emitter::getFuncBlockById)};
    OrderedIdListClient<BlockTerminator> terminatorBlocks_{
        lists_[BL_Terminator], lookup(&Emitter::getTerminatorBlockById)};
    OrderedIdListClient<BlockPositioner> positionerBlocks_{
        lists_[BL_Positioner], lookup(&Emitter::getPositionerBlockById)};
    OrderedIdListClient<BlockConstruct> constructBlocks_{lists_[BL_Construct],
                                                         lookup(&Emitter::getConstructBlockById)};
    OrderedIdListClient<BlockParamEmitter> paramEmitterBlocks_{
        lists_[BL_ParamEmitter], lookup(&Emitter::getParamEmitterBlockById)};
    OrderedIdListClient<BlockGlobParam> globParamBlocks_{lists_[BL_GlobParam],
                                                         lookup(&Emitter::getGlobParamBlockById)};
    std::unique_ptr<EmitterParamBlocksColorizer> colorizer_;
    std::vector<BlockLink> links_;
    std::vector<Uuid> reflBlocks_;
    std::vector<BlockLink> reflLinks_;
    bool globalParametersUpdated_ = false;
    Prop<glm::vec2> topBlocksLayoutPos_;
    Prop<glm::vec2> leftBlocksLayoutPos_;
    Prop<glm::vec2> bottomBlocksLayoutPos_;
    Prop<bool> standalone_;
    Prop<unsigned int> maxNumParticles_;
    Prop<Ps::EnumEmitterSorting> sorting_;
    bool enabled_ = true;
    bool geometryVisible_ = true;
    bool reservedFlag_ = false;
    bool wireframeVisible_ = false;
    // While an old file is read: the output that fed the constructor's position input.
    boost::optional<BlockConnector> obsoleteConnector_;
    std::shared_ptr<EmitterGuide> guide_;
    boost::optional<Uuid> guideReflRev_;
    // While a block is being connected during a load: the revisions read stay.
    bool loadingBlock_ = false;
    // During syncDeep: the guide follows its source once, at the end.
    bool syncing_ = false;
};

}  // namespace Plm
