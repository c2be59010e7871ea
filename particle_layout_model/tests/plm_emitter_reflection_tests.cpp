#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <boost/uuid/uuid_io.hpp>

#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_external_resources_map.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"

namespace
{

using Plm::Block;
using Plm::Emitter;
using Plm::System;
using Uuid = boost::uuids::uuid;
using Lerp = Plm::BlockFuncLerp<float>;
using Param = Plm::BlockParamUserTyped<float>;

// An effect in a file of its own, as reflections need: a source's references are resolved in
// its file.
struct Effect
{
    std::unique_ptr<Plm::ProjectResourceSystem> file;

    explicit Effect(std::unique_ptr<System> system)
        : file(std::make_unique<Plm::ProjectResourceSystem>(std::move(system)))
    {
    }
    System& sys() const { return file->getResource(); }
};

// The lattice: effect F with emitter B and R reflecting B, and F2 reflecting F, where B2 and
// R2 are the counterparts of B and R.
struct Lattice
{
    Plm::ExternalResourcesMap map;
    Effect f{System::create("f")};
    Emitter& b = f.sys().addEmitter(Emitter::create("B"));
    Emitter& r = f.sys().addEmitterReflection(b, map);
    Effect f2{f.sys().reflect("f.sxed")};

    Lattice() { sync(); }
    void sync()
    {
        f.sys().syncDeep(nullptr, map);
        f2.sys().syncDeep(&f.sys(), map);
    }
    Emitter& b2() const { return *f2.sys().findEmitterBySystemReflId(b.getSystemReflId()); }
    Emitter& r2() const { return *f2.sys().findEmitterBySystemReflId(r.getSystemReflId()); }
};

unsigned int countBlocks(const Emitter& emitter) { return emitter.allBlocks().size(); }

// The blocks of `emitter` that stand for `block` of `source` by either identifier.
std::vector<const Block*> counterparts(const Emitter& emitter, const Block& block)
{
    std::vector<const Block*> found;
    for (const Block& candidate : emitter.allBlocks())
        if (candidate.getSystemReflId() == block.getSystemReflId() ||
            candidate.getEmitterReflId() == block.getEmitterReflId())
            found.push_back(&candidate);
    return found;
}

// Every revision of the effect, its emitters and their blocks.
std::vector<Uuid> revisions(const System& system)
{
    std::vector<Uuid> all{system.getRevision(), system.getDeepRevision()};
    for (const Emitter& emitter : system.emitters())
    {
        all.push_back(emitter.getRevision());
        all.push_back(emitter.getDeepRevision());
        for (const Block& block : emitter.allBlocks())
            all.push_back(block.getRevision());
    }
    return all;
}

TEST(EmitterReflection, TheLatticeGivesEachEmitterOneBlockPerSourceBlock)
{
    Lattice l;
    const unsigned int n = countBlocks(l.b);
    ASSERT_GT(n, 0u);
    for (const Emitter* e : {&l.r, &l.b2(), &l.r2()})
    {
        EXPECT_EQ(countBlocks(*e), n) << e->getName();
        EXPECT_EQ(e->getNumLinks(), l.b.getNumLinks()) << e->getName();
    }
    EXPECT_EQ(l.r.getReflBlocks().size(), n);
    EXPECT_EQ(l.r2().getReflBlocks().size(), n);

    // A block added to B appears once in each emitter down the lattice.
    const Block& added = l.b.addBlock(Lerp::create());
    l.sync();
    for (const Emitter* e : {&l.r, &l.b2(), &l.r2()})
    {
        EXPECT_EQ(countBlocks(*e), n + 1) << e->getName();
        EXPECT_EQ(e->funcBlocks().size(), l.b.funcBlocks().size()) << e->getName();
    }
    ASSERT_EQ(counterparts(l.r, added).size(), 1u);
    ASSERT_EQ(counterparts(l.b2(), added).size(), 1u);
    const Block& inR = *counterparts(l.r, added)[0];
    const Block& inB2 = *counterparts(l.b2(), added)[0];
    // In R2 the block joins both: B2's emitterReflId and R's systemReflId.
    const Block* inR2 = l.r2().findBlockByEmitterReflId(inB2.getEmitterReflId());
    ASSERT_TRUE(inR2);
    EXPECT_EQ(inR2, l.r2().findBlockBySystemReflId(inR.getSystemReflId()));
    EXPECT_TRUE(inR2->isLockedByParentReflection());

    // Removed from B, it goes everywhere at the next pass.
    l.b.removeBlock(added.getId());
    l.sync();
    for (const Emitter* e : {&l.r, &l.b2(), &l.r2()})
        EXPECT_EQ(countBlocks(*e), n) << e->getName();
}

TEST(EmitterReflection, BlocksAddedToOneReflectionAloneReachTheLatticeWithTheirIdentifiers)
{
    Lattice l;
    const unsigned int n = countBlocks(l.b);
    const Block& inR = l.r.addBlock(Lerp::create());
    const Block& inB2 = l.b2().addBlock(Lerp::create());
    l.sync();

    ASSERT_EQ(countBlocks(l.r2()), n + 2);
    const Block* fromR = l.r2().findBlockBySystemReflId(inR.getSystemReflId());
    ASSERT_TRUE(fromR);
    EXPECT_NE(fromR->getEmitterReflId(), inR.getEmitterReflId());
    EXPECT_TRUE(fromR->isLockedByParentReflection());
    const Block* fromB2 = l.r2().findBlockByEmitterReflId(inB2.getEmitterReflId());
    ASSERT_TRUE(fromB2);
    EXPECT_NE(fromB2->getSystemReflId(), inB2.getSystemReflId());
    EXPECT_TRUE(fromB2->isLockedByParentReflection());
    // B has neither; R's own block is no locked block of R.
    EXPECT_EQ(countBlocks(l.b), n);
    EXPECT_FALSE(l.r.doesHaveReflectedBlock(inR.getId()));
}

TEST(EmitterReflection, ASyncThatFindsNothingNewChangesNoRevision)
{
    Lattice l;
    l.b.addBlock(Lerp::create());
    l.sync();
    const std::vector<Uuid> f = revisions(l.f.sys()), f2 = revisions(l.f2.sys());
    l.sync();
    EXPECT_EQ(revisions(l.f.sys()), f);
    EXPECT_EQ(revisions(l.f2.sys()), f2);
}

TEST(EmitterReflection, SettingsFollowExceptNameEnabledAndOverrides)
{
    Lattice l;
    l.r.setMaxNumParticles(7u);
    l.b.setName("renamed");
    l.b.setEnabled(false);
    l.b.setMaxNumParticles(500u);
    l.b.setStandalone(false);
    l.sync();
    EXPECT_EQ(l.r.getName(), "B");
    EXPECT_TRUE(l.r.isEnabled());
    EXPECT_FALSE(l.r.isStandalone());
    EXPECT_EQ(l.r.getMaxNumParticles(), 7u);  // own override kept
    EXPECT_EQ(l.b2().getMaxNumParticles(), 500u);
    // R2 takes R's counterpart as the baseline and B2's value only where B2 overrides it.
    EXPECT_EQ(l.r2().getMaxNumParticles(), 7u);
    l.b2().setMaxNumParticles(42u);
    l.sync();
    EXPECT_EQ(l.r2().getMaxNumParticles(), 42u);

    // Reverting the override shows the source's present value.
    l.r.setMaxNumParticles(boost::none);
    EXPECT_EQ(l.r.getMaxNumParticles(), 500u);
}

TEST(EmitterReflection, BlockValuesFollowTheSourceAndKeepOverrides)
{
    Lattice l;
    Lerp& source = static_cast<Lerp&>(l.b.addBlock(Lerp::create()));
    source.setTo(2.0f);
    l.sync();
    auto in = [&](const Emitter& e) -> Lerp&
    { return static_cast<Lerp&>(*const_cast<Block*>(counterparts(e, source)[0])); };
    EXPECT_EQ(in(l.r).getTo(), 2.0f);
    // A source's override is the reflection's default.
    EXPECT_FALSE(in(l.r).hasOverridedProps());
    in(l.r).setFrom(5.0f);
    source.setFrom(3.0f);
    source.setTo(4.0f);
    l.sync();
    EXPECT_EQ(in(l.r).getFrom(), 5.0f);
    EXPECT_EQ(in(l.r).getTo(), 4.0f);
    EXPECT_EQ(in(l.b2()).getTo(), 4.0f);
    in(l.r).setFrom(boost::none);
    EXPECT_EQ(in(l.r).getFrom(), 3.0f);
}

// Output `out` of one block and input `in` of another, by their fixed numbers.
bool link(Emitter& e, const Block& from, unsigned int out, const Block& to, unsigned int in)
{
    return e.createLink(from, out, to, in);
}

TEST(EmitterReflection, SourceLinksWinOverOwnLinksAndFollowRemovals)
{
    Lattice l;
    const Block& a = l.b.addBlock(Lerp::create());
    const Block& c = l.b.addBlock(Lerp::create());
    l.sync();
    const Block& aR = *counterparts(l.r, a)[0];
    const Block& cR = *counterparts(l.r, c)[0];
    const Block& own = l.r.addBlock(Lerp::create());
    // An own link on an input of a locked block.
    ASSERT_TRUE(link(l.r, own, 3, cR, 0));
    const unsigned int ownLinks = l.r.getNumOwnLinks();

    ASSERT_TRUE(link(l.b, a, 3, c, 0));
    l.sync();
    EXPECT_EQ(l.r.getNumOwnLinks(), ownLinks - 1);
    EXPECT_TRUE(l.r.getLinkIndex(aR, 3, cR, 0));
    EXPECT_TRUE(l.r.isLinkReflected(*l.r.getLinkIndex(aR, 3, cR, 0)));
    // In R2 the counterparts are found through B2's.
    const Block& aR2 = *counterparts(l.r2(), *counterparts(l.b2(), a)[0])[0];
    const Block& cR2 = *counterparts(l.r2(), *counterparts(l.b2(), c)[0])[0];
    EXPECT_TRUE(l.r2().getLinkIndex(aR2, 3, cR2, 0));

    // The source block goes: the locked one and the reflected link on it go at the same pass.
    const unsigned int links = l.r.getNumLinks();
    l.b.removeBlock(a.getId());
    l.sync();
    EXPECT_EQ(l.r.getNumLinks(), links - 1);
    EXPECT_TRUE(counterparts(l.r, c).size() == 1);
}

TEST(EmitterReflection, OwnParametersKeepTheirPlaceWhenTheSourceReordersItsOwn)
{
    Lattice l;
    const Block& p1 = l.b.addBlock(Param::create());
    const Block& p2 = l.b.addBlock(Param::create());
    l.sync();
    const Block& own = l.r.addBlock(Param::create());
    auto order = [&](const Emitter& e)
    {
        std::vector<std::string> names;
        for (const Uuid& id : e.blockList(Emitter::BL_Param))
        {
            const Block& block = e.getBlockById(id);
            names.push_back(&block == &own                                      ? "own"
                            : block.getEmitterReflId() == p1.getEmitterReflId() ? "p1"
                            : block.getEmitterReflId() == p2.getEmitterReflId() ? "p2"
                                                                                : "other");
        }
        return names;
    };
    std::vector<std::string> before = order(l.r);
    const auto ownIndex = std::find(before.begin(), before.end(), "own") - before.begin();

    // p2 in front of p1 in the source.
    const unsigned int i1 = *l.b.paramBlocks().findIndex(p1.getId());
    const unsigned int i2 = *l.b.paramBlocks().findIndex(p2.getId());
    l.b.paramBlocks().changeItemIndex(i2, i1);
    l.b.bakeBlockParamsIndexChange();
    l.sync();
    const std::vector<std::string> after = order(l.r);
    EXPECT_EQ(std::find(after.begin(), after.end(), "own") - after.begin(), ownIndex);
    EXPECT_LT(std::find(after.begin(), after.end(), "p2"),
              std::find(after.begin(), after.end(), "p1"));
    std::vector<std::string> sourceOrder = order(l.b);
    sourceOrder.erase(std::remove(sourceOrder.begin(), sourceOrder.end(), "own"),
                      sourceOrder.end());
    std::vector<std::string> reflectionOrder = after;
    reflectionOrder.erase(std::remove(reflectionOrder.begin(), reflectionOrder.end(), "own"),
                          reflectionOrder.end());
    EXPECT_EQ(reflectionOrder, sourceOrder);
}

TEST(EmitterReflection, SeparatedEmittersOwnTheirBlocksAndLinks)
{
    Lattice l;
    const unsigned int links = l.r.getNumLinks();
    ASSERT_GT(links, 0u);
    l.r.separate();
    EXPECT_FALSE(l.r.getReflSourceRef());
    EXPECT_TRUE(l.r.getReflBlocks().empty());
    EXPECT_EQ(l.r.getNumOwnLinks(), links);
    // Own links now: they can go.
    l.r.clearNonReflectedConnector(l.r.getLink(0).input_);
    EXPECT_EQ(l.r.getNumLinks(), links - 1);
    // Edits of B no longer reach it.
    l.b.addBlock(Lerp::create());
    l.sync();
    EXPECT_EQ(countBlocks(l.r), countBlocks(l.b) - 1);
}

TEST(EmitterReflection, ASeparatedEffectKeepsItsInnerReflectionsWorking)
{
    Lattice l;
    const Block& inB2 = l.b2().addBlock(Lerp::create());
    l.sync();
    const unsigned int n = countBlocks(l.r2());
    Emitter& b2 = l.b2();
    Emitter& r2 = l.r2();
    l.f2.sys().separate(l.map);
    EXPECT_FALSE(l.f2.sys().getReflSourcePath());
    EXPECT_TRUE(l.f2.sys().reflectedResources().empty());
    // R2 still reflects B2 and keeps the blocks B2 holds as locked ones.
    ASSERT_TRUE(r2.getReflSourceRef());
    EXPECT_EQ(r2.getReflBlocks().size(), n);
    const Block& more = b2.addBlock(Lerp::create());
    l.f2.sys().syncDeep(nullptr, l.map);
    EXPECT_EQ(countBlocks(r2), n + 1);
    EXPECT_TRUE(r2.findBlockByEmitterReflId(more.getEmitterReflId()));
    EXPECT_TRUE(r2.findBlockByEmitterReflId(inB2.getEmitterReflId()));
    // No counterparts left in the old source.
    for (const Emitter& e : l.f2.sys().emitters())
        EXPECT_FALSE(l.f.sys().findEmitterBySystemReflId(e.getSystemReflId()));
}

TEST(EmitterReflection, TheEffectFollowsItsSourcesSettingsAndEmitters)
{
    Lattice l;
    l.f.sys().setFps(60.0f);
    l.f2.sys().setPresimTime(2.0f);
    l.f.sys().setPresimTime(1.0f);
    Emitter& added = l.f.sys().addEmitter(Emitter::create("C"));
    // The new emitter in front of B.
    l.f.sys().changeResourceIndex(l.f.sys().getNumEmitters() - 1, 0u);
    Emitter& own = l.f2.sys().addEmitter(Emitter::create("own"));
    l.sync();
    EXPECT_EQ(l.f2.sys().getFps(), 60.0f);
    EXPECT_EQ(l.f2.sys().getPresimTime(), 2.0f);
    ASSERT_EQ(l.f2.sys().getNumEmitters(), 4u);
    EXPECT_EQ(l.f2.sys().getEmitter(0).getSystemReflId(), added.getSystemReflId());
    EXPECT_EQ(&l.f2.sys().getEmitter(2), &own);  // an own emitter keeps its index
    EXPECT_EQ(countBlocks(l.f2.sys().getEmitter(0)), countBlocks(added));

    l.f.sys().removeResource(added.getId());
    l.sync();
    EXPECT_EQ(l.f2.sys().getNumEmitters(), 3u);
    EXPECT_FALSE(l.f2.sys().isLockedByParentReflection(own));
}

TEST(EmitterReflection, AnEffectWhoseBlocksReflectOtherFilesIsRefusedAsASource)
{
    Lattice l;
    l.b.setMaxNumParticles(9u);
    const std::unique_ptr<Lerp> elsewhere = Lerp::create();
    l.b.addBlockReflection(*elsewhere, Plm::ReflectionSourceRef::external("other.sxed"));
    ASSERT_TRUE(l.f.sys().whyNotReflectable());
    const std::vector<Uuid> before = revisions(l.f2.sys());
    EXPECT_THROW(l.f2.sys().syncDeep(&l.f.sys(), l.map), Plm::ReflectionRefusedException);
    EXPECT_EQ(revisions(l.f2.sys()), before);
    EXPECT_NE(l.b2().getMaxNumParticles(), 9u);
}

}  // namespace

namespace
{

std::vector<uint8_t> copyEmitters(System& system, const std::vector<Uuid>& ids)
{
    Sl::SaverBinFlex out(Sl::BO_Native, Sl::TC_Off);
    {
        Sl::RevisionSaver saver(nullptr, out, nullptr);
        system.copyEmittersToSaver(saver, ids);
    }
    return out.dataAsVector();
}

void pasteEmitters(System& system, const std::vector<uint8_t>& bytes)
{
    Sl::LoaderBinArray in(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, in);
    system.pasteEmittersFromLoader(loader);
}

// The ids of every emitter and block; with `reflIds`, their reflection ids too.
std::vector<Uuid> allIds(const System& system, bool reflIds)
{
    std::vector<Uuid> ids;
    for (const Emitter& emitter : system.emitters())
    {
        ids.push_back(emitter.getId());
        if (reflIds)
            ids.push_back(emitter.getSystemReflId());
        for (const Block& block : emitter.allBlocks())
        {
            ids.push_back(block.getId());
            if (!reflIds)
                continue;
            ids.push_back(block.getSystemReflId());
            ids.push_back(block.getEmitterReflId());
        }
    }
    return ids;
}

TEST(EmitterClipboard, PastedEmittersAreNewAndKeepTheirReflectionsAmongThemselves)
{
    Lattice l;
    l.b.addBlock(Lerp::create());
    l.r.addBlock(Lerp::create());  // an own block of the reflection
    l.sync();
    const std::vector<Uuid> revisionsBefore = revisions(l.f.sys());
    const std::vector<uint8_t> bytes = copyEmitters(l.f.sys(), {l.b.getId(), l.r.getId()});
    EXPECT_EQ(revisions(l.f.sys()), revisionsBefore);

    Effect target(System::create("target"));
    pasteEmitters(target.sys(), bytes);
    pasteEmitters(target.sys(), bytes);
    ASSERT_EQ(target.sys().getNumEmitters(), 4u);
    // New objects, with no counterparts in the copied effect.
    const std::vector<Uuid> sourceIds = allIds(l.f.sys(), true);
    for (const Uuid& id : allIds(target.sys(), true))
        EXPECT_EQ(std::count(sourceIds.begin(), sourceIds.end(), id), 0);
    std::vector<Uuid> ids = allIds(target.sys(), false);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());

    for (unsigned int i = 0; i < 4; i += 2)
    {
        Emitter& b = target.sys().getEmitter(i);
        Emitter& r = target.sys().getEmitter(i + 1);
        EXPECT_EQ(countBlocks(b), countBlocks(l.b));
        EXPECT_EQ(countBlocks(r), countBlocks(l.r));
        EXPECT_EQ(r.getNumLinks(), l.r.getNumLinks());
        // The pasted reflection follows the pasted source, not the copied one.
        ASSERT_TRUE(r.getReflSourceRef());
        EXPECT_EQ(*r.getReflSourceRef()->id, b.getId());
        EXPECT_EQ(r.getReflBlocks().size(), l.r.getReflBlocks().size());
        b.addBlock(Lerp::create());
        target.sys().syncDeep(nullptr, Plm::ExternalResourcesMap());
        EXPECT_EQ(countBlocks(r), countBlocks(l.r) + 1);
    }
}

TEST(EmitterClipboard, AReflectionCopiedAloneOwnsWhatItHeld)
{
    Lattice l;
    const std::vector<uint8_t> bytes = copyEmitters(l.f.sys(), {l.r.getId()});
    Effect target(System::create("target"));
    pasteEmitters(target.sys(), bytes);
    ASSERT_EQ(target.sys().getNumEmitters(), 1u);
    const Emitter& pasted = target.sys().getEmitter(0);
    EXPECT_FALSE(pasted.getReflSourceRef());
    EXPECT_TRUE(pasted.getReflBlocks().empty());
    EXPECT_EQ(countBlocks(pasted), countBlocks(l.r));
    EXPECT_EQ(pasted.getNumOwnLinks(), l.r.getNumLinks());
}

TEST(EmitterClipboard, DataThatCantBeTakenLeavesTheEffectAsItWas)
{
    Lattice l;
    const std::vector<uint8_t> good = copyEmitters(l.f.sys(), {l.b.getId()});
    Effect target(System::create("target"));
    const std::vector<Uuid> before = revisions(target.sys());
    const unsigned int emitters = target.sys().getNumEmitters();
    std::vector<uint8_t> cut(good.begin(), good.begin() + good.size() / 2);
    std::vector<uint8_t> noise(good.size(), 0xA5);
    for (const std::vector<uint8_t>* bad : {&cut, &noise})
    {
        EXPECT_ANY_THROW(pasteEmitters(target.sys(), *bad));
        EXPECT_EQ(target.sys().getNumEmitters(), emitters);
        EXPECT_EQ(revisions(target.sys()), before);
    }
}

}  // namespace

namespace
{

std::vector<uint8_t> fileBytes(const Plm::ProjectResource& resource)
{
    Sl::SaverBinFlex out(Sl::BO_Native, Sl::TC_Off);
    {
        Sl::RevisionSaver saver(nullptr, out, nullptr);
        resource.save(saver);
    }
    return out.dataAsVector();
}

std::vector<uint8_t> reloadedBytes(const std::vector<uint8_t>& bytes)
{
    Sl::LoaderBinArray in(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, in);
    std::unique_ptr<Plm::ProjectResource> loaded = Plm::ProjectResource::createFromLoader(loader);
    loaded->postLoad();
    return fileBytes(*loaded);
}

std::vector<Lerp*> lerpsOf(const Emitter& emitter, bool locked)
{
    std::vector<Lerp*> lerps;
    for (const Block& block : emitter.allBlocks())
        if (auto* lerp = dynamic_cast<Lerp*>(const_cast<Block*>(&block)))
            if (emitter.doesHaveReflectedBlock(block.getId()) == locked)
                lerps.push_back(lerp);
    return lerps;
}

// Random edits of a source and its reflections, with a synchronisation after each: every
// state saves and loads to the same bytes, a second synchronisation changes nothing, and
// undoing every step brings back each state that was, down to the first.
TEST(ReflectionProperty, RandomEditsSyncSaveAndUndoBackToTheFirstBytes)
{
    for (const unsigned int seed : {1u, 7u, 2024u})
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Lattice l;
        std::mt19937 rng(seed);
        auto pick = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng); };
        Plm::ProjectResource* files[] = {l.f.file.get(), l.f2.file.get()};
        std::vector<std::vector<uint8_t>> history[2];
        for (unsigned int i = 0; i < 2; ++i)
        {
            files[i]->createUndoRevision();
            history[i].push_back(fileBytes(*files[i]));
        }
        for (unsigned int step = 0; step < 60; ++step)
        {
            Emitter* emitters[] = {&l.b, &l.r, &l.b2(), &l.r2()};
            Emitter& e = *emitters[pick(4)];
            const std::vector<Lerp*> own = lerpsOf(e, false);
            const std::vector<Lerp*> locked = lerpsOf(e, true);
            switch (pick(6))
            {
            case 0:
                e.addBlock(Lerp::create());
                break;
            case 1:
                if (!own.empty())
                    e.removeBlock(own[pick(own.size())]->getId());
                break;
            case 2:
                if (!own.empty())
                    own[pick(own.size())]->setTo(static_cast<float>(pick(100)));
                break;
            case 3:
                if (!locked.empty())
                    locked[pick(locked.size())]->setFrom(static_cast<float>(pick(100)));
                break;
            case 4:
                if (!locked.empty())
                    locked[pick(locked.size())]->setFrom(boost::none);
                break;
            case 5:
            {
                std::vector<Lerp*> all = own;
                all.insert(all.end(), locked.begin(), locked.end());
                Lerp* from = all.empty() ? nullptr : all[pick(all.size())];
                Lerp* to = all.empty() ? nullptr : all[pick(all.size())];
                if (from != to)
                    e.createLink(*from, 3, *to, 0);
                break;
            }
            }
            l.sync();
            const std::vector<Uuid> f = revisions(l.f.sys()), f2 = revisions(l.f2.sys());
            l.sync();
            ASSERT_EQ(revisions(l.f.sys()), f) << "step " << step;
            ASSERT_EQ(revisions(l.f2.sys()), f2) << "step " << step;
            for (unsigned int i = 0; i < 2; ++i)
            {
                files[i]->createUndoRevision();
                history[i].push_back(fileBytes(*files[i]));
                ASSERT_EQ(reloadedBytes(history[i].back()), history[i].back()) << "step " << step;
            }
        }
        for (unsigned int i = 0; i < 2; ++i)
        {
            for (size_t back = history[i].size() - 1; back-- > 0;)
            {
                ASSERT_TRUE(files[i]->isUndoPossible());
                files[i]->undo();
                ASSERT_EQ(fileBytes(*files[i]), history[i][back])
                    << "file " << i << " state " << back;
            }
            EXPECT_FALSE(files[i]->isUndoPossible());
        }
    }
}

}  // namespace
