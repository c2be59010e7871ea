#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <boost/optional/optional_io.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <gtest/gtest.h>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_positioner.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"
#include "revision_saveload/sl_write_read.h"
#include "revision_saveload/sl_write_read_std.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using namespace Plm;
using PlmTest::createByName;
using PlmTest::writeProp;
using Bytes = std::vector<uint8_t>;
using Uuid = boost::uuids::uuid;
using Content = std::function<void(Sl::RevisionSaver&)>;

Uuid newId() { return BoostExt::generateUuid(); }

Block& add(Emitter& e, const char* name) { return e.addBlock(createByName(name)); }

BlockParamEmitter& attach(Emitter& from, const Emitter& to)
{
    auto& block = static_cast<BlockParamEmitter&>(add(from, "param_emitter"));
    block.setEmitterId(boost::make_optional(boost::make_optional(to.getId())));
    return block;
}

Bytes write(const Content& content)
{
    Sl::SaverBinFlex flex(Sl::BO_LittleEndian, Sl::TC_On);
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        content(saver);
    }
    return flex.dataAsVector();
}

Bytes saveSystem(const System& system)
{
    return write([&](Sl::RevisionSaver& s) { system.save(s); });
}

std::unique_ptr<System> loadSystem(const Bytes& bytes, bool postLoad = true)
{
    Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, array);
    std::unique_ptr<System> system = System::createFromLoader(loader);
    if (postLoad)
        system->postLoad();
    return system;
}

std::string names(const System& system)
{
    std::string text;
    for (const Emitter& e : system.emitters())
        text += e.getName();
    return text;
}

// Tells which changes could alter what export produces.
struct RecordingSystem : System
{
    std::vector<bool> notes;
    void notifyDeepChanged(bool affectsExport) override
    {
        notes.push_back(affectsExport);
        System::notifyDeepChanged(affectsExport);
    }
};

TEST(PlmSystem, NewEffectHasOneDefaultEmitterAndDefaults)
{
    std::unique_ptr<System> system = Generation::simpleSystem();
    EXPECT_EQ(system->getName(), "");
    ASSERT_EQ(system->getNumEmitters(), 1u);
    Emitter& e = system->getEmitter(0);
    EXPECT_EQ(e.getName(), "DefaultEmitter");
    EXPECT_TRUE(e.guide());
    EXPECT_EQ(e.getSystem(), system.get());
    EXPECT_EQ(system->blockResources().size(), 0u);
    EXPECT_EQ(system->getFps(), 30.0f);
    EXPECT_EQ(system->getSeedType(), Ps::SST_Random);
    EXPECT_EQ(system->getFixedSeed(), 0u);
    EXPECT_EQ(system->getPresimTime(), 0.0f);
    SystemResource* resource = system->findResourceByName("DefaultEmitter");
    ASSERT_TRUE(resource);
    EXPECT_EQ(resource->getType(), SystemResource::T_Emitter);
    EXPECT_EQ(resource->getSystem(), system.get());
    EXPECT_EQ(e.getSystemResource(), resource);
    EXPECT_FALSE(system->findResourceByName("defaultemitter"));
    EXPECT_EQ(System::create("x")->getName(), "x");
}

TEST(PlmSystem, ChangeResourceIndex)
{
    struct Case
    {
        unsigned int index;
        boost::optional<unsigned int> before;
        const char* order;
    };
    const Case cases[] = {
        {2, 2u, "abc"}, {0, 2u, "bac"}, {0, boost::none, "bca"},
        {2, 0u, "cab"}, {1, 3u, "acb"}, {2, boost::none, "abc"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.index) + " before " +
                     (c.before ? std::to_string(*c.before) : "end"));
        System system;
        for (const char* name : {"a", "b", "c"})
            system.addEmitter(std::make_unique<Emitter>(name));
        const Uuid revision = system.getRevision();
        const Uuid deep = system.getDeepRevision();
        system.changeResourceIndex(c.index, c.before);
        EXPECT_EQ(names(system), c.order);
        const bool unchanged = c.before && *c.before == c.index;
        EXPECT_EQ(system.getRevision() == revision, unchanged);
        EXPECT_EQ(system.getDeepRevision() == deep, unchanged);
    }
}

TEST(PlmSystem, WhichChangesAffectExport)
{
    struct Case
    {
        const char* what;
        std::function<void(System&)> change;
        bool affectsExport;
        bool newRevision;
    };
    const Case cases[] = {
        {"fps", [](System& s) { s.setFps(60.0f); }, true, true},
        {"seed type", [](System& s) { s.setSeedType(Ps::SST_Fixed); }, true, true},
        {"fixed seed", [](System& s) { s.setFixedSeed(7u); }, true, true},
        {"presim time", [](System& s) { s.setPresimTime(2.0f); }, true, true},
        {"name", [](System& s) { s.setName("n"); }, false, true},
        {"add emitter", [](System& s) { s.addEmitter(std::make_unique<Emitter>("e")); }, true,
         true},
        {"add block resource",
         [](System& s) {
             s.addResource(
                 std::make_unique<SystemResourceBlock>(createByName("func_lerp_float"), "lerp"));
         },
         false, true},
        {"emitter setting", [](System& s) { s.getEmitter(0).setMaxNumParticles(5u); }, true, false},
        {"emitter name", [](System& s) { s.getEmitter(0).setName("x"); }, false, false},
        {"block resource name", [](System& s) { s.findResourceByName("template")->setName("t2"); },
         false, false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        RecordingSystem system;
        system.addEmitter(std::make_unique<Emitter>("first"));
        system.addResource(
            std::make_unique<SystemResourceBlock>(createByName("func_lerp_float"), "template"));
        system.notes.clear();
        const Uuid revision = system.getRevision();
        const Uuid deep = system.getDeepRevision();
        c.change(system);
        ASSERT_FALSE(system.notes.empty());
        EXPECT_EQ(system.notes.back(), c.affectsExport);
        EXPECT_EQ(system.getRevision() != revision, c.newRevision);
        EXPECT_NE(system.getDeepRevision(), deep);
    }
}

TEST(PlmSystem, BlockResourcesAndEmittersKeepTheirOwnLists)
{
    System system;
    Emitter& a = system.addEmitter(std::make_unique<Emitter>("a"));
    Block& inEmitter = add(a, "func_lerp_float");
    SystemResource& resource = system.addResource(
        std::make_unique<SystemResourceBlock>(createByName("func_lerp_float"), "tpl"));
    Block& tpl = system.blockResources()[0];
    ASSERT_TRUE(resource.castToBlockResource());
    EXPECT_TRUE(resource.castToBlockResource()->isTemplate());
    EXPECT_FALSE(resource.castToEmitterResource());
    EXPECT_EQ(tpl.getOwner(), resource.castToBlockResource());
    EXPECT_EQ(tpl.getSystem(), &system);
    EXPECT_FALSE(tpl.getEmitter());
    EXPECT_EQ(system.getNumEmitters(), 1u);
    EXPECT_EQ(system.blockResources().size(), 1u);

    EXPECT_EQ(system.findBlockById(tpl.getId()), &tpl);
    EXPECT_FALSE(system.findBlockById(inEmitter.getId()));
    EXPECT_EQ(system.findDeepBlockById(inEmitter.getId()), &inEmitter);
    EXPECT_EQ(system.findDeepBlockById(tpl.getId()), &tpl);
    EXPECT_FALSE(system.findEmitterById(tpl.getId()));
    EXPECT_EQ(system.findEmitterById(a.getId()), &a);
    EXPECT_EQ(system.findEmitterBySystemReflId(a.getSystemReflId()), &a);
    EXPECT_EQ(system.findBlockBySystemReflId(tpl.getSystemReflId()), &tpl);
    EXPECT_FALSE(system.findBlockBySystemReflId(inEmitter.getSystemReflId()));
    EXPECT_EQ(system.findDeepBlockBySystemReflId(inEmitter.getSystemReflId()), &inEmitter);

    unsigned int holders = 0;
    system.enumerateExternalDependeciesHolders([&](ExternalDependencyHolder&) { ++holders; });
    EXPECT_EQ(holders, 2u);

    system.removeResource(tpl.getId());
    EXPECT_EQ(system.blockResources().size(), 0u);
    EXPECT_EQ(system.getNumEmitters(), 1u);
}

TEST(PlmSystem, RemovalUnsetsAttachmentsAndSeparatesReflections)
{
    System system;
    Emitter& a = system.addEmitter(std::make_unique<Emitter>("a"));
    Emitter& b = system.addEmitter(std::make_unique<Emitter>("b"));
    const Uuid bId = b.getId();
    BlockParamEmitter& fromA = attach(a, b);
    attach(b, a);
    Emitter& reflection = system.addEmitter(b.reflect(ReflectionSourceRef::internal(bId)));
    SystemResource& tplResource = system.addResource(
        std::make_unique<SystemResourceBlock>(createByName("func_lerp_float"), "tpl"));
    const Block& tpl = tplResource.castToBlockResource()->block();
    Block& blockRefl =
        a.addBlockReflection(tpl, ReflectionSourceRef::internal(tplResource.getId()));

    system.removeResource(bId);
    EXPECT_EQ(names(system), "ab");
    EXPECT_FALSE(system.findEmitterById(bId));
    EXPECT_FALSE(fromA.getEmitterId());
    EXPECT_FALSE(reflection.getReflSourceRef());

    system.removeResource(tplResource.getId());
    EXPECT_FALSE(blockRefl.getReflSourceRef());
    EXPECT_EQ(system.blockResources().size(), 0u);
}

TEST(PlmSystem, AttachedEmittersFollowTheirGlobalParameters)
{
    System system;
    Emitter& a = system.addEmitter(std::make_unique<Emitter>("a"));
    Emitter& b = system.addEmitter(std::make_unique<Emitter>("b"));
    BlockParamEmitter& fromA = attach(a, b);
    BlockParamEmitter& fromB = attach(b, a);
    const unsigned int before = fromA.getNumConnectors();
    system.assertAndUpdateAttachedEmittersConnectors();
    add(b, "glob_param_float");
    EXPECT_TRUE(b.areGlobalParametersUpdated());
    EXPECT_EQ(fromA.getNumConnectors(), before);

    // Only the blocks naming the emitter whose parameters changed are rebuilt.
    const Uuid revisionB = fromB.getRevision();
    system.assertAndUpdateAttachedEmittersConnectors();
    EXPECT_FALSE(b.areGlobalParametersUpdated());
    EXPECT_EQ(fromA.getNumConnectors(), before + 1);
    EXPECT_EQ(fromB.getRevision(), revisionB);

    system.detachFromRelatedSystems();
    EXPECT_FALSE(fromA.getEmitterId());
    EXPECT_FALSE(fromB.getEmitterId());
}

TEST(PlmSystem, ReflectionOrderVisitsSourcesFirst)
{
    System system;
    Emitter& a = system.addEmitter(std::make_unique<Emitter>("a"));
    system.addEmitter(std::make_unique<Emitter>("x"));
    Emitter& r1 = system.addEmitter(a.reflect(ReflectionSourceRef::internal(a.getId())));
    r1.setName("r");
    Emitter& rr = system.addEmitter(r1.reflect(ReflectionSourceRef::internal(r1.getId())));
    rr.setName("s");
    system.addEmitter(a.reflect(ReflectionSourceRef::external("other.effect"))).setName("e");
    system.changeResourceIndex(system.emitters().getIndex(rr.getId()), 0u);
    std::string order;
    system.processEmittersInReflectionOrder([&](Emitter* e) { order += e->getName(); });
    EXPECT_EQ(order, "arsx");
}

// The ids of the emitters in the order the file holds them.
std::vector<Uuid> emittersInFile(const Bytes& bytes)
{
    Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, array);
    Sl::ScopedLoaderGroup group(loader, 5);
    Uuid id;
    for (int i = 0; i < 3; ++i)
        Sl::read(loader, id);
    for (int i = 0; i < 2; ++i)
    {
        Sl::ScopedLoaderGroup flagged(loader, 0);
        bool has = false;
        loader.read(has);
        EXPECT_FALSE(has);
    }
    std::string name;
    Sl::read(loader, name);
    std::vector<Uuid> list;
    for (int i = 0; i < 3; ++i)
        Sl::read(loader, list);
    PropsOwner owner;
    Prop<float> f(owner, false, 0.0f);
    Prop<Ps::EnumSystemSeedType> seed(owner, false, Ps::SST_Random);
    Prop<unsigned int> u(owner, false, 0u);
    f.load(loader);
    seed.load(loader);
    u.load(loader);
    f.load(loader);
    uint32_t count = 0;
    loader.read(count);
    std::vector<Uuid> ids;
    for (uint32_t i = 0; i < count; ++i)
        ids.push_back(SystemResource::createFromLoader(loader)->getId());
    return ids;
}

TEST(PlmSystemFiles, AttachedEmittersComeFirst)
{
    System system;
    Emitter& a = system.addEmitter(std::make_unique<Emitter>("a"));
    Emitter& b = system.addEmitter(std::make_unique<Emitter>("b"));
    Emitter& c = system.addEmitter(std::make_unique<Emitter>("c"));
    Emitter& d = system.addEmitter(std::make_unique<Emitter>("d"));
    attach(a, c);
    attach(c, d);
    // A circle of attachments still writes each emitter once.
    attach(d, a);
    const std::vector<Uuid> expected{d.getId(), c.getId(), a.getId(), b.getId()};
    EXPECT_EQ(emittersInFile(saveSystem(system)), expected);
}

// An effect with something in each part of its record.
std::unique_ptr<System> richSystem()
{
    std::unique_ptr<System> system = Generation::simpleSystem();
    system->setName("rich");
    system->setFps(25.0f);
    system->setSeedType(Ps::SST_Fixed);
    system->setFixedSeed(99u);
    system->setPresimTime(1.5f);
    Emitter& second = system->addEmitter(Generation::simpleEmitter("second"));
    attach(system->getEmitter(0), second);
    system->addResource(
        std::make_unique<SystemResourceBlock>(createByName("func_lerp_float"), "tpl"));
    system->changeResourceIndex(1, 0u);
    return system;
}

TEST(PlmSystemFiles, RoundTripGivesTheSameBytes)
{
    std::unique_ptr<System> system = richSystem();
    const Bytes bytes = saveSystem(*system);
    std::unique_ptr<System> back = loadSystem(bytes);
    EXPECT_EQ(saveSystem(*back), bytes);
    EXPECT_EQ(back->getId(), system->getId());
    EXPECT_EQ(back->getRevision(), system->getRevision());
    EXPECT_EQ(back->getName(), "rich");
    EXPECT_EQ(back->getFps(), 25.0f);
    EXPECT_EQ(back->getSeedType(), Ps::SST_Fixed);
    EXPECT_EQ(back->getFixedSeed(), 99u);
    EXPECT_EQ(back->getPresimTime(), 1.5f);
    EXPECT_EQ(names(*back), "secondDefaultEmitter");
    ASSERT_EQ(back->blockResources().size(), 1u);
    EXPECT_EQ(back->findResourceByName("tpl")->getType(), SystemResource::T_Block);
    for (const Emitter& e : back->emitters())
    {
        ASSERT_TRUE(e.guide());
        EXPECT_EQ(e.allBlocks().size(), system->getEmitterById(e.getId())->allBlocks().size());
    }
    const BlockParamEmitter& attached = back->getEmitter(1).paramEmitterBlocks()[0];
    EXPECT_EQ(attached.getEmitterId(), boost::make_optional(back->getEmitter(0).getId()));
}

TEST(PlmSystemFiles, DamagedFilesRaiseLoadErrors)
{
    const Bytes bytes = saveSystem(*richSystem());
    for (size_t size = 0; size < bytes.size(); ++size)
    {
        const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(loadSystem(cut), Sl::Exception) << size;
    }
    // A changed byte either loads or raises a load error, never anything else.
    Bytes flipped = bytes;
    for (size_t i = 0; i < flipped.size(); ++i)
    {
        flipped[i] ^= 0xa5;
        try
        {
            loadSystem(flipped);
        }
        catch (const Sl::Exception&)
        {
        }
        flipped[i] ^= 0xa5;
    }
    // A later writer's file.
    const Bytes later =
        write([](Sl::RevisionSaver& s) { Sl::ScopedSaverGroup group("particle_system", s, 6); });
    EXPECT_THROW(loadSystem(later), Sl::OldLoaderVersionException);
    // A resource of an unknown type.
    const Bytes unknown = write(
        [](Sl::RevisionSaver& s)
        {
            Sl::ScopedSaverGroup group("system_resource", s, 0);
            s.write("type", uint8_t(2));
        });
    Sl::LoaderBinArray array(unknown.data(), static_cast<uint32_t>(unknown.size()));
    Sl::RevisionLoader loader(nullptr, array);
    EXPECT_THROW(SystemResource::createFromLoader(loader), Sl::CorruptedDataException);
}

// The layout of older writers around the resources: `resources` writes from "num_emitters" on.
struct OldFile
{
    uint32_t version = 2;
    Uuid id = newId(), revision = newId(), deepRevision = newId();
    std::vector<Uuid> disabled, guideOrder, emitters;
    Content resources;
};

Bytes writeOld(const OldFile& f)
{
    return write(
        [&](Sl::RevisionSaver& s)
        {
            Sl::ScopedSaverGroup group("particle_system", s, f.version);
            Sl::write("id", s, f.id);
            Sl::write("revision", s, f.revision);
            Sl::write("deep_revision", s, f.deepRevision);
            for (const char* key : {"synced_rev", "refl_source"})
            {
                Sl::ScopedSaverGroup flagged(key, s, 0);
                s.write(nullptr, false);
            }
            Sl::write("name", s, std::string("old"));
            if (f.version < 3)
                Sl::write(nullptr, s, f.disabled);
            if (f.version <= 3)
                Sl::write(nullptr, s, f.guideOrder);
            Sl::write("emitters", s, f.emitters);
            Sl::write("block_resources", s, std::vector<Uuid>());
            Sl::write("reflected_resources", s, std::vector<Uuid>());
            writeProp(s, "fps", 40.0f);
            writeProp(s, "seed_type", Ps::SST_Random);
            writeProp(s, "fixed_seed", 0u);
            writeProp(s, "presim_time", 0.0f);
            f.resources(s);
        });
}

void writeEmitterBlocks(Sl::RevisionSaver& s, const std::vector<const Emitter*>& emitters)
{
    uint32_t count = 0;
    for (const Emitter* e : emitters)
        count += e->allBlocks().size();
    s.write("num_blocks", count);
    for (const Emitter* e : emitters)
        for (const Block& block : e->allBlocks())
        {
            s.write("inside_emitter", true);
            Sl::write("block_emitter_id", s, e->getId());
            e->saveBlock(s, block);
        }
}

TEST(PlmSystemFiles, Version2DisablesTheEmittersOfItsFirstList)
{
    std::vector<std::unique_ptr<SystemResourceEmitter>> resources;
    std::vector<const Emitter*> emitters;
    for (const char* name : {"on", "off1", "off2"})
    {
        resources.push_back(std::make_unique<SystemResourceEmitter>(Emitter::create(name)));
        emitters.push_back(&resources.back()->emitter());
    }
    OldFile f;
    f.emitters = {emitters[0]->getId()};
    f.disabled = {emitters[1]->getId(), emitters[2]->getId()};
    // The guides in an order of their own.
    f.guideOrder = {emitters[2]->getId(), emitters[0]->getId(), emitters[1]->getId()};
    f.resources = [&](Sl::RevisionSaver& s)
    {
        s.write("num_emitters", uint32_t(3));
        for (const auto& resource : resources)
            resource->save(s);
        writeEmitterBlocks(s, emitters);
        for (const Uuid& id : f.guideOrder)
            for (const Emitter* e : emitters)
                if (e->getId() == id)
                    e->saveEmitterGuide(s);
    };
    std::unique_ptr<System> system = loadSystem(writeOld(f));
    EXPECT_EQ(names(*system), "onoff1off2");
    EXPECT_EQ(system->getFps(), 40.0f);
    const bool enabled[] = {true, false, false};
    for (unsigned int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(system->getEmitter(i).isEnabled(), enabled[i]) << i;
        EXPECT_TRUE(system->getEmitter(i).guide()) << i;
    }
}

// A block record in line, as the first writers laid it out.
void writeBlockRecord(Sl::RevisionSaver& s, const char* factoryName, const Uuid& id,
                      const Content& content)
{
    Sl::write("factory_name", s, std::string(factoryName));
    Sl::ScopedSaverGroup block("block", s, 0);
    Sl::write("id", s, id);
    {
        Sl::ScopedSaverGroup refl("refl_source", s);
        s.write(nullptr, false);
    }
    Sl::write("emitter_id", s, newId());
    Sl::write("system_id", s, newId());
    Sl::write("revision", s, newId());
    const boost::optional<Uuid> none;
    for (const char* key : {"dir_refl_rev", "emt_refl_rev", "sys_refl_rev"})
        Sl::write(key, s, none);
    content(s);
}

// An emitter resource as the first writers laid it out: a version 0 emitter record, whose
// lists are those given (there is no list of positioners yet).
struct OldEmitter
{
    Uuid id = newId(), systemId = newId();
    std::map<Emitter::EnumBlockList, std::vector<Uuid>> lists;
    std::vector<BlockLink> links;
};

void writeOldEmitter(Sl::RevisionSaver& s, const OldEmitter& e)
{
    Sl::ScopedSaverGroup resource("system_resource", s, 0);
    s.write("type", uint8_t(SystemResource::T_Emitter));
    Sl::ScopedSaverGroup emitterResource("system_resource_emitter", s, 0);
    s.write(nullptr, true);
    Sl::ScopedSaverGroup emitter("emitter", s, 0);
    Sl::write("id", s, e.id);
    Sl::write("system_id", s, e.systemId);
    Sl::write("revision", s, newId());
    Sl::write("deep_revision", s, newId());
    {
        Sl::ScopedSaverGroup refl("refl_source", s, 0);
        s.write(nullptr, false);
    }
    Sl::write("dir_refl_rev", s, boost::optional<Uuid>());
    Sl::write("sys_refl_rev", s, boost::optional<Uuid>());
    Sl::write("name", s, std::string("old"));
    for (unsigned int l = 0; l < Emitter::BL_Count; ++l)
    {
        const auto list = static_cast<Emitter::EnumBlockList>(l);
        auto it = e.lists.find(list);
        if (l != Emitter::BL_Positioner)
            Sl::write(Emitter::blockListKey(list), s,
                      it == e.lists.end() ? std::vector<Uuid>() : it->second);
    }
    Sl::write("links", s, e.links);
    Sl::write("refl_blocks", s, std::vector<Uuid>());
    Sl::write("refl_links", s, std::vector<BlockLink>());
    writeProp(s, "globals_layout_disp", glm::vec2(0.0f));
    writeProp(s, "params_layout_disp", glm::vec2(0.0f));
    writeProp(s, "constructs_layout_disp", glm::vec2(0.0f));
    writeProp(s, "standalone", false);
    writeProp(s, "max_num_particles", 10u);
    writeProp(s, "sorting", Ps::ES_DepthCorrect);
}

TEST(PlmSystemFiles, OlderVersions)
{
    // Two emitters that an old writer gave one systemReflId, the second one disabled where the
    // file still has the list of disabled emitters.
    for (uint32_t version = 1; version <= 5; ++version)
    {
        SCOPED_TRACE(version);
        OldEmitter a, b;
        b.systemId = a.systemId;
        OldFile f;
        f.version = version;
        f.emitters = {a.id};
        (version < 3 ? f.disabled : f.emitters).push_back(b.id);
        f.guideOrder = {b.id, a.id};
        f.resources = [&](Sl::RevisionSaver& s)
        {
            s.write("num_emitters", uint32_t(2));
            writeOldEmitter(s, a);
            writeOldEmitter(s, b);
            s.write("num_blocks", uint32_t(0));
            if (version >= 2)
                for (int i = 0; i < 2; ++i)
                {
                    Sl::ScopedSaverGroup guide(s, 8);
                    Sl::write("guide_refl_rev", s, boost::optional<Uuid>());
                    s.write("has_guide", false);
                }
        };
        const Bytes bytes = writeOld(f);
        std::unique_ptr<System> system = loadSystem(bytes, false);
        EXPECT_EQ(system->getRevision(), f.revision);
        system->postLoad();
        ASSERT_EQ(system->getNumEmitters(), 2u);
        const Emitter& first = system->getEmitter(0);
        const Emitter& second = system->getEmitter(1);
        EXPECT_EQ(first.getId(), a.id);
        EXPECT_EQ(second.getId(), b.id);
        EXPECT_TRUE(first.isEnabled());
        EXPECT_EQ(second.isEnabled(), version >= 3);
        // Files before the last version get their systemReflIds checked, at a new revision.
        EXPECT_EQ(first.getSystemReflId() == second.getSystemReflId(), version == 5);
        EXPECT_EQ(system->getRevision() == f.revision, version == 5);
        // A version 2 or 3 file whose guide order names an unknown emitter is damaged.
        if (version == 2 || version == 3)
        {
            f.guideOrder.back() = newId();
            EXPECT_THROW(loadSystem(writeOld(f)), Sl::CorruptedDataException);
        }
    }
}

TEST(PlmSystemFiles, Version0GainsPositioners)
{
    Emitter source("e");
    Block& feed = add(source, "func_lerp_vec3");
    const Uuid stripId = newId();
    OldEmitter old;
    const Uuid emitterId = old.id;
    old.lists[Emitter::BL_All] = {feed.getId(), stripId};
    old.lists[Emitter::BL_Func] = {feed.getId()};
    old.lists[Emitter::BL_Construct] = {stripId};
    old.links = {{feed.getConnectorById(3), BlockConnector{stripId, inputDesc(CT_Vec3, 0)}}};
    const glm::vec3 position(4.0f, 5.0f, 6.0f);

    OldFile f;
    f.version = 0;
    f.emitters = {emitterId};
    f.resources = [&](Sl::RevisionSaver& s)
    {
        s.write("num_emitters", uint32_t(1));
        writeOldEmitter(s, old);
        s.write("num_blocks", uint32_t(2));
        s.write("inside_emitter", true);
        Sl::write("block_emitter_id", s, emitterId);
        feed.save(s);
        s.write("inside_emitter", true);
        Sl::write("block_emitter_id", s, emitterId);
        writeBlockRecord(s, "construct_strip", stripId,
                         [&](Sl::RevisionSaver& c)
                         {
                             Sl::ScopedSaverGroup group("construct_strip", c, 0);
                             writeProp(c, "exportable", true);
                             writeProp(c, "material", Ps::MAT_Normal);
                             writeProp(c, "texture", std::string("t.png"));
                             writeProp(c, "position", position, true);
                             writeProp(c, "free_rotation", false);
                             writeProp(c, "size", 1.0f);
                             writeProp(c, "color", glm::vec3(1.0f));
                             writeProp(c, "alpha", 1.0f);
                             writeProp(c, "tex_repeat_dist", 10.0f);
                         });
        // No guides in files of this age.
    };
    std::unique_ptr<System> system = loadSystem(writeOld(f));
    ASSERT_EQ(system->getNumEmitters(), 1u);
    Emitter& e = system->getEmitter(0);
    EXPECT_FALSE(e.guide());
    ASSERT_EQ(e.positionerBlocks().size(), 1u);
    const BlockPositioner& positioner = e.positionerBlocks()[0];
    EXPECT_EQ(positioner.getPosition(), position);
    ASSERT_EQ(e.getNumLinks(), 1u);
    EXPECT_EQ(e.getLink(0), (BlockLink{feed.getConnectorById(3), positioner.getConnectorById(0)}));
}

}  // namespace
