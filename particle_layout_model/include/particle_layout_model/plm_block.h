#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_access_key.h"
#include "particle_layout_model/plm_block_connector.h"
#include "particle_layout_model/plm_crc_string.h"
#include "particle_layout_model/plm_props.h"

namespace Plm
{

class Block;
class BlockFunc;
class BlockGenerator;
class BlockTerminator;
class BlockConstruct;
class BlockPositioner;
class BlockGlob;
class BlockGlobParam;
class BlockParam;
class BlockParamUserUpdater;
class BlockParamEmitter;
class BlockParamUser;
class BlockSyncer;
class Emitter;
class EmitterExportCompilerBin;
class ProjectResource;
class ProjectResourceBlock;
class System;
class SystemResource;
class SystemResourceBlock;

// What a block knows of its surroundings: an emitter, or a resource of an effect or of a
// project. The first three answers are null where that level doesn't exist.
class BlockOwner
{
public:
    virtual ~BlockOwner() = default;
    virtual ProjectResource* getProjectResource() = 0;
    virtual SystemResource* getSystemResource() = 0;
    virtual Emitter* getEmitter() = 0;
    virtual void notifyDeepChanged(bool affectsExport) = 0;
    // Whether the block exists only because its owner reflects something.
    virtual bool isLockedByParentReflection(const Block& block) const = 0;
};

// Files that a block or a scene object needs, as paths relative to the project's textures
// folder. None by default.
class ExternalDependencyHolder
{
public:
    virtual ~ExternalDependencyHolder() = default;
    virtual size_t numExternalTextures() const { return 0; }
    virtual std::string externalTexture(size_t index) const { return std::string(); }
    virtual void replaceExternalTexture(size_t index, const std::string& path) {}
    virtual size_t numExternalPictures() const { return 0; }
    virtual std::string externalPicture(size_t index) const { return std::string(); }
    virtual void replaceExternalPicture(size_t index, const std::string& path) {}
};

// One node of an emitter's graph. Identity and content: the identifiers and the revision lie
// in the main stream of a save, the content in the revision layer.
class Block : public PropsOwner, public ExternalDependencyHolder
{
public:
    // Construction of an object that load() fills.
    struct LoadFlag
    {
    };
    using OwnerKey = AccessKey<Emitter, SystemResourceBlock, ProjectResourceBlock>;

    ~Block() override;

    // Reads a block saved by save(): null for a factory name that nobody knows.
    static std::unique_ptr<Block> createFromLoader(Sl::RevisionLoader& loader);

    void updateConnectors() override {}
    void notifyPropChanged(bool affectsExport) override { upgradeRevision(affectsExport); }

    // Casts in place of a run-time type query: null, or the block as that category.
    virtual BlockGenerator* castToBlockGenerator() { return nullptr; }
    virtual BlockTerminator* castToBlockTerminator() { return nullptr; }
    virtual BlockConstruct* castToBlockConstruct() { return nullptr; }
    virtual BlockPositioner* castToBlockPositioner() { return nullptr; }
    virtual BlockFunc* castToBlockFunc() { return nullptr; }
    virtual BlockGlob* castToBlockGlob() { return nullptr; }
    virtual BlockGlobParam* castToBlockGlobParam() { return nullptr; }
    virtual BlockParam* castToBlockParam() { return nullptr; }
    virtual BlockParamUserUpdater* castToBlockParamUpdater() { return nullptr; }
    virtual BlockParamEmitter* castToBlockParamEmitterParam() { return nullptr; }
    const BlockGenerator* castToBlockGenerator() const;
    const BlockTerminator* castToBlockTerminator() const;
    const BlockConstruct* castToBlockConstruct() const;
    const BlockPositioner* castToBlockPositioner() const;
    const BlockFunc* castToBlockFunc() const;
    const BlockGlob* castToBlockGlob() const;
    const BlockGlobParam* castToBlockGlobParam() const;
    const BlockParam* castToBlockParam() const;
    const BlockParamUserUpdater* castToBlockParamUpdater() const;
    const BlockParamEmitter* castToBlockParamEmitterParam() const;

    virtual const CrcString& getFactoryName() const = 0;

    // Surroundings.
    void connectWithOwner(BlockOwner& owner, OwnerKey);
    BlockOwner* getOwner() const { return owner_; }
    ProjectResource* getProjectResource() const;
    Emitter* getEmitter() const;
    System* getSystem() const;
    bool isLockedByParentReflection() const;

    // Identity.
    const boost::uuids::uuid& getId() const { return id_; }
    const boost::uuids::uuid& getEmitterReflId() const { return emitterReflId_; }
    const boost::uuids::uuid& getSystemReflId() const { return systemReflId_; }
    const boost::uuids::uuid& getRevision() const { return revision_; }
    boost::optional<ReflectionSourceRef> getReflSourceRef() const { return reflSource_; }
    const boost::optional<boost::uuids::uuid>& getDirReflRev() const { return dirReflRev_; }
    const boost::optional<boost::uuids::uuid>& getEmtReflRev() const { return emtReflRev_; }
    const boost::optional<boost::uuids::uuid>& getSysReflRev() const { return sysReflRev_; }

    // Reflection of one block.
    void setReflSourceRef(boost::optional<ReflectionSourceRef> ref, AccessKey<Emitter, System>);
    std::unique_ptr<Block> reflect(const ReflectionSourceRef& ref,
                                   AccessKey<Emitter, System>) const;
    std::unique_ptr<Block> reflectIndirect(boost::optional<boost::uuids::uuid> emitterReflId,
                                           boost::optional<boost::uuids::uuid> systemReflId,
                                           AccessKey<Emitter, System>) const;
    void _regenerateSystemReflId(AccessKey<Emitter, System>);
    void separate();
    // Follows the sources of the syncer if any of them has a revision other than the one
    // recorded at the last synchronisation: the properties, the connectors and what the kind
    // adds. Returns whether anything was done.
    bool syncWithReflectionSource(const BlockSyncer& syncer);
    // Finds the counterparts of this block in `sourceSystem` (by systemReflId) and in
    // `sourceEmitter` (by emitterReflId), each only if given, and synchronises with them and
    // `directSource`. A counterpart of another kind counts as absent. `systemSourceEmitter`,
    // the counterpart in `sourceSystem` of the block's emitter, is searched first.
    bool syncDeep(System* sourceSystem, Emitter* sourceEmitter, Block* directSource,
                  Emitter* systemSourceEmitter = nullptr);
    void extractExternalSources(std::vector<boost::filesystem::path>& paths) const;
    void replaceExternalSource(const boost::filesystem::path& from,
                               const boost::filesystem::path& to);

    // A new block with new identifiers, no reflection data and the same property values,
    // overrides included. It has no connectors until it gets an owner.
    std::unique_ptr<Block> copyWithoutRelations() const { return copyImpl(); }

    // Connectors.
    unsigned int getNumConnectors() const { return static_cast<unsigned int>(connectors_.size()); }
    const BlockConnectorDesc& getConnectorDesc(unsigned int i) const;
    BlockConnector getConnector(unsigned int i) const { return {id_, getConnectorDesc(i)}; }
    boost::optional<BlockConnector> findConnectorById(unsigned int index) const;
    BlockConnector getConnectorById(unsigned int index) const;
    boost::optional<unsigned int> getConnectorIndexByDesc(const BlockConnectorDesc& desc) const;

    // Change.
    void upgradeRevision(bool affectsExport);

    // Writes operation `operId` of the block into the compiled emitter: the "factory" code of
    // the runtime's operation, then its group of fields. Every kind that the chains can hold
    // writes its own; reaching this is a broken invariant.
    virtual void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const;

    void save(Sl::RevisionSaver& saver) const;
    void load(Sl::RevisionLoader& loader);

protected:
    Block();
    explicit Block(LoadFlag);

    // Called when the block gets its owner, before its connectors are built.
    virtual void connectedWithOwner() {}
    virtual std::unique_ptr<Block> copyImpl() const = 0;
    // Takes every property from the syncer's sources, in the saved order, and whatever else
    // the kind follows; the connectors are taken over afterwards.
    virtual void syncReflectionImpl(const BlockSyncer& syncer) = 0;
    virtual void saveImpl(Sl::RevisionSaver& saver) const = 0;
    virtual void loadImpl(Sl::RevisionLoader& loader) = 0;

    // Replaces the connectors; the owner's emitter then drops links whose connectors are gone.
    void resetConnectors(const BlockConnectorDesc* descs, unsigned int count);
    void resetConnectors(const std::vector<BlockConnectorDesc>& descs)
    {
        resetConnectors(descs.data(), static_cast<unsigned int>(descs.size()));
    }

private:
    BlockOwner* owner_ = nullptr;
    boost::optional<ReflectionSourceRef> reflSource_;
    boost::uuids::uuid id_{};
    boost::uuids::uuid emitterReflId_{};
    boost::uuids::uuid systemReflId_{};
    boost::uuids::uuid revision_{};
    boost::optional<boost::uuids::uuid> dirReflRev_;
    boost::optional<boost::uuids::uuid> emtReflRev_;
    boost::optional<boost::uuids::uuid> sysReflRev_;
    std::vector<BlockConnectorDesc> connectors_;
};

// The statics that every concrete kind has: its factory name, a new block with defaults and
// connectors, and an object for loading. Put in the class body with the class's name.
#define PLM_BLOCK_KIND(ClassName, factoryName)                                                     \
public:                                                                                            \
    static const CrcString& getStaticFactoryName()                                                 \
    {                                                                                              \
        static const CrcString name(factoryName);                                                  \
        return name;                                                                               \
    }                                                                                              \
    const CrcString& getFactoryName() const override { return getStaticFactoryName(); }            \
    static std::unique_ptr<Block> createForLoad()                                                  \
    {                                                                                              \
        return std::unique_ptr<Block>(new ClassName(Block::LoadFlag()));                           \
    }

}  // namespace Plm
