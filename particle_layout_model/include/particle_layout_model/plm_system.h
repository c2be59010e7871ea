#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_access_key.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_ordered_id_list_client.h"
#include "particle_layout_model/plm_props.h"
#include "particle_layout_model/plm_ps_enums.h"

namespace Sl
{
class RevisionLoader;
class RevisionSaver;
}  // namespace Sl

namespace Plm
{

class ExternalResourcesMap;
class ProjectResourceSystem;
class System;
class SystemResourceBlock;
class SystemResourceEmitter;

// One item of an effect's tree: an emitter or a free-standing block. The effect owns its
// resources; a resource owns what it wraps.
class SystemResource
{
public:
    using Uuid = boost::uuids::uuid;
    enum EnumType : uint8_t
    {
        T_Block = 0,
        T_Emitter = 1,
    };

    explicit SystemResource(EnumType type) : type_(type) {}
    SystemResource(const SystemResource&) = delete;
    SystemResource& operator=(const SystemResource&) = delete;
    virtual ~SystemResource() = default;

    virtual const Uuid& getId() const = 0;
    virtual const std::string& getName() const = 0;
    virtual void setName(const std::string& name) = 0;
    virtual bool isDirectlyReflected() const = 0;
    virtual bool isLockedByParentReflection() const = 0;
    virtual void separate() = 0;
    virtual SystemResourceBlock* castToBlockResource() { return nullptr; }
    virtual SystemResourceEmitter* castToEmitterResource() { return nullptr; }
    virtual void saveImpl(Sl::RevisionSaver& saver) const = 0;

    const SystemResourceBlock* castToBlockResource() const
    {
        return const_cast<SystemResource*>(this)->castToBlockResource();
    }
    const SystemResourceEmitter* castToEmitterResource() const
    {
        return const_cast<SystemResource*>(this)->castToEmitterResource();
    }

    void connectWithSystem(System& system, AccessKey<System>) { system_ = &system; }
    System* getSystem() const { return system_; }
    ProjectResource* getProjectResource() const;
    EnumType getType() const { return type_; }

    // The type byte, then the resource's own group.
    void save(Sl::RevisionSaver& saver) const;
    // Reads what save() wrote; an unknown type is a damaged file.
    static std::unique_ptr<SystemResource> createFromLoader(Sl::RevisionLoader& loader);

private:
    System* system_ = nullptr;
    EnumType type_;
};

// An emitter of the effect.
class SystemResourceEmitter : public SystemResource, public EmitterOwner
{
public:
    explicit SystemResourceEmitter(std::unique_ptr<Emitter> emitter);
    // Reads what saveImpl wrote (after the type byte): the emitter without its blocks.
    explicit SystemResourceEmitter(Sl::RevisionLoader& loader);

    Emitter& emitter() const { return *emitter_; }

    // SystemResource
    const Uuid& getId() const override { return emitter_->getId(); }
    const std::string& getName() const override { return emitter_->getName(); }
    void setName(const std::string& name) override { emitter_->setName(name); }
    bool isDirectlyReflected() const override
    {
        return static_cast<bool>(emitter_->getReflSourceRef());
    }
    bool isLockedByParentReflection() const override;
    void separate() override;
    SystemResourceEmitter* castToEmitterResource() override { return this; }
    void saveImpl(Sl::RevisionSaver& saver) const override;

    // EmitterOwner
    ProjectResource* getProjectResource() override { return SystemResource::getProjectResource(); }
    SystemResource* getSystemResource() override { return this; }
    void notifyDeepChanged(bool affectsExport) override;
    bool isLockedByParentReflection(const Emitter& emitter) const override;
    System* getSystem() override { return SystemResource::getSystem(); }

private:
    std::unique_ptr<Emitter> emitter_;
};

// A block of the effect outside its emitters, which blocks of the emitters may reflect. It
// carries the name that a block doesn't have.
class SystemResourceBlock : public SystemResource, public BlockOwner
{
public:
    SystemResourceBlock(std::unique_ptr<Block> block, std::string name);
    // Reads what saveImpl wrote (after the type byte).
    explicit SystemResourceBlock(Sl::RevisionLoader& loader);

    Block& block() const { return *block_; }
    virtual bool isTemplate() const { return true; }

    // SystemResource
    const Uuid& getId() const override { return block_->getId(); }
    const std::string& getName() const override { return name_; }
    void setName(const std::string& name) override;
    bool isDirectlyReflected() const override
    {
        return static_cast<bool>(block_->getReflSourceRef());
    }
    bool isLockedByParentReflection() const override;
    void separate() override { block_->separate(); }
    SystemResourceBlock* castToBlockResource() override { return this; }
    void saveImpl(Sl::RevisionSaver& saver) const override;

    // BlockOwner
    ProjectResource* getProjectResource() override { return SystemResource::getProjectResource(); }
    SystemResource* getSystemResource() override { return this; }
    Emitter* getEmitter() override { return nullptr; }
    void notifyDeepChanged(bool affectsExport) override;
    bool isLockedByParentReflection(const Block& block) const override;

private:
    std::string name_;
    std::unique_ptr<Block> block_;
};

// An effect that can't follow its source, with the reason for the user.
class ReflectionRefusedException : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// An effect: its emitters, its free-standing block resources and the settings that hold for
// all of them.
//
// It is also the owner of emitters read on their own before they join it (the tools read a
// single emitter that way), so that their blocks already see the effect.
class System : public EmitterOwner, public PropsOwner
{
public:
    using Uuid = boost::uuids::uuid;
    struct LoadFlag
    {
    };

    // New identifiers, default settings, no resources, an empty name.
    System();
    // Identifiers and everything else come from load().
    explicit System(LoadFlag);
    ~System() override;
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    static std::unique_ptr<System> create(const std::string& name);
    static std::unique_ptr<System> createFromLoader(Sl::RevisionLoader& loader);

    // Surroundings and identity.
    void connectWithProjectResource(ProjectResource& resource, AccessKey<ProjectResourceSystem>)
    {
        projectResource_ = &resource;
    }
    ProjectResource* getProjectResource() override { return projectResource_; }
    const Uuid& getId() const { return id_; }
    const Uuid& getRevision() const { return revision_; }
    const Uuid& getDeepRevision() const { return deepRevision_; }
    const boost::optional<Uuid>& getSyncedRev() const { return syncedRev_; }
    const boost::optional<boost::filesystem::path>& getReflSourcePath() const
    {
        return reflSource_;
    }
    const std::string& getName() const { return name_; }
    // The name isn't part of what is exported.
    void setName(const std::string& name);

    // Simulation steps a second, the seeding of random numbers, and the seconds simulated
    // unseen at the start.
    float getFps() const { return fps_.get(); }
    void setFps(const boost::optional<float>& value) { setPropAndNotify(fps_, value); }
    Ps::EnumSystemSeedType getSeedType() const { return seedType_.get(); }
    void setSeedType(const boost::optional<Ps::EnumSystemSeedType>& value)
    {
        setPropAndNotify(seedType_, value);
    }
    unsigned int getFixedSeed() const { return fixedSeed_.get(); }
    void setFixedSeed(const boost::optional<unsigned int>& value)
    {
        setPropAndNotify(fixedSeed_, value);
    }
    float getPresimTime() const { return presimTime_.get(); }
    void setPresimTime(const boost::optional<float>& value)
    {
        setPropAndNotify(presimTime_, value);
    }

    // Resources. The effect takes ownership; the id must be new.
    SystemResource& addResource(std::unique_ptr<SystemResource> resource);
    void removeResource(const Uuid& id);
    SystemResource* findResourceById(const Uuid& id) const;
    SystemResource& getResourceById(const Uuid& id) const;
    // The first in id order with exactly that name.
    SystemResource* findResourceByName(const std::string& name) const;
    Emitter* findEmitterById(const Uuid& id) const;
    // Null when absent, as findEmitterById (callers check).
    Emitter* getEmitterById(const Uuid& id) const { return findEmitterById(id); }
    Block* findBlockById(const Uuid& id) const;
    Block& getBlockById(const Uuid& id) const;
    // Block resources first, then the blocks of each emitter in list order.
    Block* findDeepBlockById(const Uuid& id) const;
    Emitter* findEmitterBySystemReflId(const Uuid& id) const;
    Emitter* getEmitterBySystemReflId(const Uuid& id) const
    {
        return findEmitterBySystemReflId(id);
    }
    Block* findBlockBySystemReflId(const Uuid& id) const;
    Block* findDeepBlockBySystemReflId(const Uuid& id) const;
    bool doesHaveReflectedResource(const Uuid& id) const;
    const std::vector<Uuid>& reflectedResources() const { return reflectedResources_; }

    // The ordered lists of the two kinds of resources.
    OrderedIdListClient<Emitter>& emitters() { return emitters_; }
    const OrderedIdListClient<Emitter>& emitters() const { return emitters_; }
    OrderedIdListClient<Block>& blockResources() { return blockResources_; }
    const OrderedIdListClient<Block>& blockResources() const { return blockResources_; }

    // Emitters in list order, as the compiler and the tools walk them.
    Emitter& addEmitter(std::unique_ptr<Emitter> emitter);
    unsigned int getNumEmitters() const { return emitters_.size(); }
    Emitter& getEmitter(unsigned int i) const;

    // Moves the emitter at `index` in front of the one at `before`, or to the end.
    void changeResourceIndex(unsigned int index, boost::optional<unsigned int> before);

    void
    enumerateExternalDependeciesHolders(const std::function<void(ExternalDependencyHolder&)>& f);
    void enumerateExternalDependeciesHolders(
        const std::function<void(const ExternalDependencyHolder&)>& f) const;
    void detachFromRelatedSystems();
    // Files this effect reflects: its own source, then those of the block resources, then
    // those of the emitters, each path once.
    void extractExternalSources(std::vector<boost::filesystem::path>& paths) const;
    // A source file moved. If it was the effect's own source, nothing else is looked at.
    void replaceDeepExternalSource(const boost::filesystem::path& from,
                                   const boost::filesystem::path& to);

    // Reflection. A new effect that reflects this one from `relPath` (the path from the new
    // file's directory to this file): new identifiers, this effect's settings as its
    // defaults, no resources until its first syncDeep.
    std::unique_ptr<System> reflect(const boost::filesystem::path& relPath) const;
    // Whether another effect may reflect this one: not while an emitter or block of it
    // reflects another file, since a reflection can't translate such a source. Null if it may,
    // else the reason.
    const char* whyNotReflectable() const;
    // Follows `source` (null when the effect has no source or it can't be found): the settings
    // that follow, which resources exist, the order of the emitters, their sources, and then
    // every block resource and emitter. External sources are looked up in `map`. A source
    // that can't be reflected raises ReflectionRefusedException before anything changes.
    void syncDeep(System* source, const ExternalResourcesMap& map);
    // Cuts the effect loose from its source; emitters keep the direct sources they find.
    void separate(const ExternalResourcesMap& map);
    // The clipboard form of the emitters with these ids: copies that own all they hold, with
    // the effect's block resources. The effect itself is left as it is.
    void copyEmittersToSaver(Sl::RevisionSaver& saver, const std::vector<Uuid>& ids);
    // Adds the emitters of a clipboard form, all with new identifiers. Raises the stream's
    // exceptions (or Debug::CheckException) on data that can't be taken; the effect is then
    // left as it was.
    void pasteEmittersFromLoader(Sl::RevisionLoader& loader);
    // A new emitter that reflects `source`, an emitter of this effect or of another file, filled
    // at once; external block sources of its blocks are looked up in `map`.
    Emitter& addEmitterReflection(Emitter& source, const ExternalResourcesMap& map);

    // Connections between emitters.
    void updateDrivingEmittersConnectors(const Uuid& id);
    void assertAndUpdateAttachedEmittersConnectors();
    void clearAttachedBlocksWhereEmitterIsUsed(const Uuid& id);
    // Sources before what reflects them; emitters with an external source aren't visited.
    void processEmittersInReflectionOrder(const std::function<void(Emitter*)>& f);

    // Files.
    void save(Sl::RevisionSaver& saver) const;
    void load(Sl::RevisionLoader& loader);
    void postLoad();

    // Change.
    void upgradeRevision(bool affectsExport);

    // PropsOwner
    void notifyPropChanged(bool affectsExport) override { upgradeRevision(affectsExport); }

    // EmitterOwner, and what the resources pass on.
    SystemResource* getSystemResource() override { return nullptr; }
    void notifyDeepChanged(bool affectsExport) override;
    bool isLockedByParentReflection(const Emitter& emitter) const override
    {
        return doesHaveReflectedResource(emitter.getId());
    }
    System* getSystem() override { return this; }

private:
    Emitter& emitterOf(const Uuid& id) const;
    Block& blockResourceOf(const Uuid& id) const;
    void filterAndDispatchResources();
    void syncOrderedIdList(std::vector<Uuid>& list, SystemResource::EnumType type);
    void separateNonReflectedResourceReflections(const SystemResource& resource);
    void insertLoaded(std::unique_ptr<SystemResource> resource);
    // Reflection.
    bool syncWithReflectionSource(const System& source);
    void addEmitterWhileReflectionSync(const Emitter& source);
    void addBlockWhileReflectionSync(const Block& source, const std::string& name);
    void syncResourcesOrder(const System& source);
    // A reflection of this effect with an empty source path, filled by one synchronisation:
    // the first step of a copy that owns everything once separated.
    std::unique_ptr<System> filledReflection();
    void pasteEmittersFromLoaderPrivateImpl(Sl::RevisionLoader& loader);
    void syncResourceSources(const System& source);
    void recursiveBlocksSync(System* source, Block* directBlock, Block& block,
                             std::vector<Uuid>& visited);
    void syncDeepEmitters(System* source, const ExternalResourcesMap& map);
    void recursiveEmittersSync(System* source, Emitter* directEmitter, Emitter& emitter,
                               const ExternalResourcesMap& map, std::vector<Uuid>& visited);

    void saveEmitter(Sl::RevisionSaver& saver, const Emitter& emitter,
                     std::vector<const Emitter*>& written) const;
    void saveBlock(Sl::RevisionSaver& saver, const Emitter* emitter, const Block& block) const;
    void loadEmitter(Sl::RevisionLoader& loader);
    void loadBlock(Sl::RevisionLoader& loader);
    // The counted emitters, then the counted blocks, as save writes them; returns the number of
    // emitters.
    uint32_t loadEmittersAndBlocks(Sl::RevisionLoader& loader);

    ProjectResource* projectResource_ = nullptr;
    boost::optional<boost::filesystem::path> reflSource_;
    Uuid id_{};
    Uuid revision_{};
    Uuid deepRevision_{};
    boost::optional<Uuid> syncedRev_;
    std::string name_;
    std::map<Uuid, std::unique_ptr<SystemResource>> resources_;
    std::vector<Uuid> emitterIds_;
    OrderedIdListClient<Emitter> emitters_{
        emitterIds_, [this](const Uuid& id) -> Emitter& { return emitterOf(id); }};
    std::vector<Uuid> blockResourceIds_;
    OrderedIdListClient<Block> blockResources_{
        blockResourceIds_, [this](const Uuid& id) -> Block& { return blockResourceOf(id); }};
    std::vector<Uuid> reflectedResources_;
    Prop<float> fps_;
    Prop<Ps::EnumSystemSeedType> seedType_;
    Prop<unsigned int> fixedSeed_;
    Prop<float> presimTime_;
    boost::optional<std::vector<Uuid>> disabledEmitters_;
    bool reflIdsNeedCheck_ = false;
};

namespace Generation
{
// The effect of a new file: an empty name and one emitter, "DefaultEmitter".
std::unique_ptr<System> simpleSystem();
std::unique_ptr<Emitter> simpleEmitter(const std::string& name);
}  // namespace Generation

}  // namespace Plm
