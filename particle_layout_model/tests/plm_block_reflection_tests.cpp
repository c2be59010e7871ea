#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <boost/optional/optional_io.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_description.h"
#include "particle_layout_model/plm_block_func_curves.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_force_move.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_func_move.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_block_func_transform3.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_block_syncer.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_stream.h"
#include "particle_layout_model/plm_system.h"
#include "plm_test_support/plm_test_blocks.h"

namespace
{

using Lerp = Plm::BlockFuncLerp<float>;
using Uuid = boost::uuids::uuid;
using PlmTest::connectorsOf;

// A reflection as a new one starts: a copy whose overrides became its defaults.
template <class B>
std::unique_ptr<B> reflectionOf(const B& source)
{
    std::unique_ptr<Plm::Block> copy = source.copyWithoutRelations();
    copy->bakeProps();
    return std::unique_ptr<B>(static_cast<B*>(copy.release()));
}

// A float lerp whose "to" is `value`, as an override or, if not, as the default.
std::unique_ptr<Lerp> lerpWithTo(float value, bool overridden)
{
    std::unique_ptr<Lerp> lerp = Lerp::create();
    lerp->setTo(value);
    if (!overridden)
        lerp->bakeProps();
    return lerp;
}

// The current values and flags of every property, in the saved order. (The type is left out:
// the description takes it from the default, which may be empty where the value isn't.)
std::vector<std::string> currentValues(const Plm::Block& block)
{
    std::vector<std::string> lines;
    for (const Plm::PropertyDescription& p : Plm::describeProperties(block))
        lines.push_back(p.key + " " + (p.overridden ? p.overrideValue : p.defaultValue) +
                        (p.external ? " external" : ""));
    return lines;
}

bool sync(Plm::Block& target, Plm::Block* system, Plm::Block* emitter, Plm::Block* direct)
{
    return target.syncWithReflectionSource(Plm::BlockSyncer(target, system, emitter, direct));
}

TEST(PlmBlockReflection, NearerSourcesWinOnlyWhereTheyOverride)
{
    // Sources hold "to" 1 (system), 2 (emitter), 3 (direct); the target's own value is 9.
    struct Case
    {
        const char* what;
        int system, emitter, direct;  // -1 absent, 0 present as a default, 1 overridden there
        bool ownOverride;
        float expectedDefault;
    };
    const Case cases[] = {
        {"direct alone, not overridden", -1, -1, 0, false, 3.0f},
        {"system alone, not overridden", 0, -1, -1, false, 1.0f},
        {"system baseline over a direct default", 0, -1, 0, false, 1.0f},
        {"direct override over the system", 0, -1, 1, false, 3.0f},
        {"emitter override, direct default", 0, 1, 0, false, 2.0f},
        {"every source overridden", 1, 1, 1, false, 3.0f},
        {"emitter default after the system", 1, 0, -1, false, 1.0f},
        {"own override stays", 0, -1, 1, true, 3.0f},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        std::unique_ptr<Lerp> sources[3];
        const int marks[3] = {c.system, c.emitter, c.direct};
        for (int i = 0; i < 3; ++i)
            if (marks[i] >= 0)
                sources[i] = lerpWithTo(float(i + 1), marks[i] == 1);
        std::unique_ptr<Lerp> target = reflectionOf(*lerpWithTo(0.0f, false));
        if (c.ownOverride)
            target->setTo(9.0f);
        EXPECT_TRUE(sync(*target, sources[0].get(), sources[1].get(), sources[2].get()));
        EXPECT_EQ(target->getTo(), c.ownOverride ? 9.0f : c.expectedDefault);
        target->setTo(boost::none);
        EXPECT_EQ(target->getTo(), c.expectedDefault);
    }
}

TEST(PlmBlockReflection, FollowsEditsKeepsOverridesAndConnectors)
{
    std::unique_ptr<Lerp> source = Lerp::create();
    source->setTo(5.0f);
    std::unique_ptr<Lerp> reflection = reflectionOf(*source);
    EXPECT_FALSE(reflection->hasOverridedProps());
    EXPECT_TRUE(sync(*reflection, nullptr, nullptr, source.get()));

    source->setTo(6.0f);
    source->setFromExternal(false);
    EXPECT_TRUE(sync(*reflection, nullptr, nullptr, source.get()));
    EXPECT_EQ(reflection->getTo(), 6.0f);
    EXPECT_FALSE(reflection->isFromExternal());
    EXPECT_FALSE(reflection->hasOverridedProps());
    EXPECT_EQ(connectorsOf(*reflection), connectorsOf(*source));

    // An own value survives the source's next edit, and a revert shows the source's value.
    reflection->setTo(7.0f);
    source->setTo(8.0f);
    source->setInterp(0.5f);
    EXPECT_TRUE(sync(*reflection, nullptr, nullptr, source.get()));
    EXPECT_EQ(reflection->getTo(), 7.0f);
    EXPECT_EQ(reflection->getInterp(), 0.5f);
    reflection->setTo(boost::none);
    EXPECT_EQ(reflection->getTo(), 8.0f);
}

TEST(PlmBlockReflection, NothingNewChangesNothing)
{
    std::unique_ptr<Lerp> system = Lerp::create(), emitter = Lerp::create(),
                          direct = Lerp::create();
    std::unique_ptr<Lerp> reflection = reflectionOf(*direct);
    EXPECT_FALSE(reflection->getDirReflRev());
    EXPECT_TRUE(sync(*reflection, system.get(), emitter.get(), direct.get()));
    EXPECT_EQ(reflection->getSysReflRev(), system->getRevision());
    EXPECT_EQ(reflection->getEmtReflRev(), emitter->getRevision());
    EXPECT_EQ(reflection->getDirReflRev(), direct->getRevision());

    const Uuid revision = reflection->getRevision();
    reflection->setTo(4.0f);
    const Uuid editedRevision = reflection->getRevision();
    EXPECT_NE(editedRevision, revision);
    EXPECT_FALSE(sync(*reflection, system.get(), emitter.get(), direct.get()));
    EXPECT_EQ(reflection->getRevision(), editedRevision);
    EXPECT_EQ(reflection->getTo(), 4.0f);

    // A change of any one source is enough, and only its record moves.
    emitter->setFrom(1.0f);
    EXPECT_TRUE(sync(*reflection, system.get(), emitter.get(), direct.get()));
    EXPECT_NE(reflection->getRevision(), editedRevision);
    EXPECT_EQ(reflection->getEmtReflRev(), emitter->getRevision());
    EXPECT_EQ(reflection->getSysReflRev(), system->getRevision());
}

TEST(PlmBlockReflection, RecordsSurviveSaveAndLoad)
{
    std::unique_ptr<Lerp> system = Lerp::create(), emitter = Lerp::create(),
                          direct = Lerp::create();
    std::unique_ptr<Lerp> reflection = reflectionOf(*direct);
    ASSERT_TRUE(sync(*reflection, system.get(), emitter.get(), direct.get()));
    std::unique_ptr<Plm::Block> loaded[4];
    const Plm::Block* originals[4] = {reflection.get(), system.get(), emitter.get(), direct.get()};
    for (int i = 0; i < 4; ++i)
    {
        loaded[i] = PlmTest::load(Plm::saveBlockPlain(*originals[i]));
        ASSERT_TRUE(loaded[i]);
    }
    EXPECT_EQ(loaded[0]->getSysReflRev(), loaded[1]->getRevision());
    EXPECT_EQ(loaded[0]->getEmtReflRev(), loaded[2]->getRevision());
    EXPECT_EQ(loaded[0]->getDirReflRev(), loaded[3]->getRevision());
    const Uuid revision = loaded[0]->getRevision();
    EXPECT_FALSE(sync(*loaded[0], loaded[1].get(), loaded[2].get(), loaded[3].get()));
    EXPECT_EQ(loaded[0]->getRevision(), revision);
}

TEST(PlmBlockReflection, SyncDeepFindsCounterpartsByTheirIdentifiers)
{
    // The source effect's block, and a counterpart elsewhere that holds both its identifiers.
    Plm::System sourceSystem, system;
    Plm::Emitter& sourceEmitter = sourceSystem.addEmitter(std::make_unique<Plm::Emitter>("s"));
    Plm::Emitter& emitter = system.addEmitter(std::make_unique<Plm::Emitter>("t"));
    Plm::Block& source = sourceEmitter.addBlock(Lerp::create());
    const std::vector<uint8_t> counterpart = Plm::saveBlockPlain(source);
    static_cast<Lerp&>(source).setTo(3.0f);

    struct Case
    {
        bool system, emitter;
    };
    for (const Case c :
         {Case{false, false}, Case{false, true}, Case{true, false}, Case{true, true}})
    {
        SCOPED_TRACE(std::to_string(c.system) + std::to_string(c.emitter));
        Plm::Block& t = emitter.addBlock(PlmTest::load(counterpart));
        const bool any = c.system || c.emitter;
        EXPECT_EQ(t.syncDeep(c.system ? &sourceSystem : nullptr,
                             c.emitter ? &sourceEmitter : nullptr, nullptr),
                  any);
        EXPECT_EQ(static_cast<bool>(t.getSysReflRev()), c.system);
        EXPECT_EQ(static_cast<bool>(t.getEmtReflRev()), c.emitter);
        EXPECT_FALSE(t.getDirReflRev());
        EXPECT_EQ(static_cast<Lerp&>(t).getTo(), any ? 3.0f : 0.0f);
        emitter.removeBlock(t.getId());
    }
    // A block that has no counterpart there has no source.
    Plm::Block& lone = emitter.addBlock(Lerp::create());
    EXPECT_FALSE(lone.syncDeep(&sourceSystem, &sourceEmitter, nullptr));
    EXPECT_TRUE(lone.syncDeep(&sourceSystem, &sourceEmitter, &source));
    EXPECT_EQ(static_cast<Lerp&>(lone).getTo(), 3.0f);
}

TEST(PlmBlockReflection, FuncBlocksFollowPinningFromTheEmitterOrTheEffect)
{
    const glm::vec2 place(10.0f, 20.0f), own(-1.0f, -2.0f);
    struct Case
    {
        const char* what;
        int slot;  // 0 system, 1 emitter, 2 direct
        bool pinned;
        bool followed;
    };
    const Case cases[] = {
        {"pinned in the effect", 0, true, true}, {"pinned in the emitter", 1, true, true},
        {"free in the emitter", 1, false, true}, {"direct source only", 2, true, false},
        {"free in the effect", 0, false, true},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        std::unique_ptr<Lerp> source = Lerp::create();
        source->setPinned(c.pinned);
        source->setHomeForce(Plm::BFHF_Left);
        source->setPosition(place);
        std::unique_ptr<Lerp> target = reflectionOf(*Lerp::create());
        target->setPosition(own);
        Plm::Block* slots[3] = {};
        slots[c.slot] = source.get();
        ASSERT_TRUE(sync(*target, slots[0], slots[1], slots[2]));
        EXPECT_EQ(target->pinned(), c.followed && c.pinned);
        EXPECT_EQ(target->homeForce(), c.followed ? Plm::BFHF_Left : Plm::BFHF_None);
        EXPECT_EQ(target->getPosition(), c.followed && c.pinned ? place : own);
    }
    // The emitter's counterpart wins over the effect's.
    std::unique_ptr<Lerp> pinned = Lerp::create(), free = Lerp::create();
    pinned->setPinned(true);
    std::unique_ptr<Lerp> target = reflectionOf(*free);
    ASSERT_TRUE(sync(*target, free.get(), pinned.get(), nullptr));
    EXPECT_TRUE(target->pinned());
}

// Gives every property a new value where the type allows a generic one, and flips every
// external flag. Counts keep their value here: the lists grow through the kinds' setters.
void editEveryProperty(Plm::Block& block, const Uuid& emitterId)
{
    for (unsigned int i = 0; i < block.getNumProps(); ++i)
    {
        Plm::PropBase& base = block.getProp(i);
        if (auto* p = dynamic_cast<Plm::PropBaseTyped<float>*>(&base))
            p->set(p->get() + 0.5f);
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<glm::vec2>*>(&base))
            p->set(p->get() + glm::vec2(1.0f, 2.0f));
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<glm::vec3>*>(&base))
            p->set(p->get() * 2.0f + glm::vec3(1.0f, 2.0f, 3.0f));
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<glm::quat>*>(&base))
            p->set(glm::quat(0.6f, 0.0f, 0.8f, 0.0f));
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<bool>*>(&base))
            p->set(!p->get());
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<std::string>*>(&base))
            p->set(p->get() + "~");
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<unsigned int>*>(&base))
        {
            if (!p->isShared())
                p->set(p->get() + 1);
        }
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<unsigned short>*>(&base))
            p->set(static_cast<unsigned short>(p->get() + 1));
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<Uuid>*>(&base))
            p->set(BoostExt::generateUuid());
        else if (auto* p = dynamic_cast<Plm::PropBaseTyped<boost::optional<Uuid>>*>(&base))
        {
            // An emitter id is followed by its own rule, which leaves the flag alone.
            p->set(boost::optional<Uuid>(emitterId));
            continue;
        }
        base.setExternal(!base.isExternal());
    }
    block.upgradeRevision(true);
}

// The kinds with lists, grown through their setters.
const std::map<std::string, std::function<void(Plm::Block&)>>& listGrowers()
{
    static const std::map<std::string, std::function<void(Plm::Block&)>> growers = {
        {"func_curves",
         [](Plm::Block& b) { static_cast<Plm::BlockFuncCurves&>(b).setNumTracks(3u); }},
        {"func_expression",
         [](Plm::Block& b) { static_cast<Plm::BlockFuncExpression&>(b).setNumInputs(4u); }},
        {"func_transform3",
         [](Plm::Block& b) { static_cast<Plm::BlockFuncTransform3&>(b).setNumOperations(3u); }},
        {"func_force_move2",
         [](Plm::Block& b)
         {
             auto& block = static_cast<Plm::BlockFuncForceMove<glm::vec2>&>(b);
             block.setNumForces(3u);
             block.setNumVelocities(2u);
         }},
    };
    return growers;
}

TEST(PlmBlockReflection, EveryKindFollowsEveryProperty)
{
    for (const CrcString& name : Plm::BlocksFactory::instance().names())
    {
        SCOPED_TRACE(name.str());
        Plm::System system;
        Plm::Emitter& emitter = system.addEmitter(std::make_unique<Plm::Emitter>("e"));
        Plm::Block& source =
            emitter.addBlock(Plm::BlocksFactory::instance().createDefaultByName(name));
        Plm::Block& reflection = emitter.addBlock(reflectionOf(source));
        const std::vector<std::string> before = currentValues(source);

        auto grower = listGrowers().find(name.str());
        if (grower != listGrowers().end())
            grower->second(source);
        editEveryProperty(source, emitter.getId());
        if (Plm::BlockFunc* func = source.castToBlockFunc())
        {
            func->setPinned(true);
            func->setHomeForce(Plm::BFHF_Center);
            func->setPosition(glm::vec2(7.0f, 8.0f));
        }
        if (source.getNumProps() > 0)
            ASSERT_NE(currentValues(source), before);

        const Uuid revision = reflection.getRevision();
        EXPECT_TRUE(sync(reflection, nullptr, &source, nullptr));
        EXPECT_NE(reflection.getRevision(), revision);
        EXPECT_EQ(reflection.getNumProps(), source.getNumProps());
        EXPECT_EQ(currentValues(reflection), currentValues(source));
        EXPECT_FALSE(reflection.hasOverridedProps());
        EXPECT_EQ(connectorsOf(reflection), connectorsOf(source));
        if (const Plm::BlockFunc* func = reflection.castToBlockFunc())
        {
            EXPECT_TRUE(func->pinned());
            EXPECT_EQ(func->homeForce(), Plm::BFHF_Center);
            EXPECT_EQ(func->getPosition(), glm::vec2(7.0f, 8.0f));
        }
        // And it saves and loads as its source does.
        std::unique_ptr<Plm::Block> loaded = PlmTest::load(Plm::saveBlockPlain(reflection));
        ASSERT_TRUE(loaded);
        EXPECT_EQ(currentValues(*loaded), currentValues(source));
    }
}

TEST(PlmBlockReflection, WhatShapesTheBlockComesFromTheSource)
{
    // A shared property loses the reflection's own value.
    std::unique_ptr<Plm::BlockParamUserTyped<float>> param =
        Plm::BlockParamUserTyped<float>::create();
    param->setName(std::string("speed"));
    std::unique_ptr<Plm::BlockParamUserTyped<float>> paramReflection = reflectionOf(*param);
    paramReflection->setName(std::string("own"));
    param->setSharedBurst(true);
    ASSERT_TRUE(sync(*paramReflection, nullptr, nullptr, param.get()));
    EXPECT_EQ(paramReflection->getName(), "speed");
    EXPECT_TRUE(paramReflection->isSharedBurst());
    EXPECT_FALSE(paramReflection->hasOverridedProps());

    // A move block of another value type takes the source's type, and a speed of that type.
    std::unique_ptr<Plm::BlockFuncMove> move = Plm::BlockFuncMove::create(Plm::CT_Vec2);
    move->setSpeed(boost::optional<glm::vec2>(glm::vec2(1.0f, 2.0f)));
    std::unique_ptr<Plm::BlockFuncMove> moveReflection =
        reflectionOf(*Plm::BlockFuncMove::create(Plm::CT_Vec3));
    ASSERT_TRUE(sync(*moveReflection, nullptr, nullptr, move.get()));
    EXPECT_EQ(moveReflection->getType(), Plm::CT_Vec2);
    EXPECT_EQ(moveReflection->getSpeed<glm::vec2>(), glm::vec2(1.0f, 2.0f));
    EXPECT_EQ(connectorsOf(*moveReflection), connectorsOf(*move));
    EXPECT_EQ(currentValues(*moveReflection), currentValues(*move));
}

// A loaded copy of `emitter` in `system` under a new id: the same systemReflId, as the
// emitter's counterpart in a reflecting effect has.
Plm::Emitter& addCounterpart(const Plm::Emitter& emitter, Plm::System& system)
{
    std::vector<uint8_t> bytes = Plm::saveEmitterPlain(emitter, Sl::TC_Off);
    const Uuid id = emitter.getId(), newId = BoostExt::generateUuid();
    for (auto it = bytes.begin();
         (it = std::search(it, bytes.end(), id.begin(), id.end())) != bytes.end();)
        it = std::copy(newId.begin(), newId.end(), it);
    Plm::Emitter& counterpart =
        system.addEmitter(Plm::loadEmitterPlain(bytes.data(), bytes.size(), system));
    EXPECT_EQ(counterpart.getId(), newId);
    EXPECT_EQ(counterpart.getSystemReflId(), emitter.getSystemReflId());
    return counterpart;
}

TEST(PlmBlockReflection, AttachedEmitterIsTranslatedIntoTheReflectingEffect)
{
    // The source effect attaches emitter A; the reflecting effect has A's counterpart and an
    // emitter X of its own, which a block of its own emitter attaches.
    Plm::System sourceSystem, system;
    Plm::Emitter& a = sourceSystem.addEmitter(std::make_unique<Plm::Emitter>("a"));
    Plm::Emitter& sourceHolder = sourceSystem.addEmitter(std::make_unique<Plm::Emitter>("p"));
    Plm::Emitter& counterpartOfA = addCounterpart(a, system);
    Plm::Emitter& x = system.addEmitter(std::make_unique<Plm::Emitter>("x"));
    Plm::Emitter& holder = system.addEmitter(std::make_unique<Plm::Emitter>("q"));

    struct Case
    {
        const char* what;
        bool sourceAttached;    // the effect's counterpart attaches A
        int emitterSource;      // -1 none, 0 attaches X as a default, 1 as an override
        bool ownOverride;       // the reflection attaches X itself
        bool expectA, expectX;  // the result: A's counterpart, X, or nothing
    };
    const Case cases[] = {
        {"effect's counterpart alone", true, -1, false, true, false},
        {"nothing attached there", false, -1, false, false, false},
        {"emitter source's default", true, 0, false, true, false},
        {"emitter source's override", true, 1, false, false, true},
        {"own override", true, -1, true, false, true},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        auto& source = static_cast<Plm::BlockParamEmitter&>(
            sourceHolder.addBlock(Plm::BlockParamEmitter::create()));
        if (c.sourceAttached)
            source.setEmitterId(boost::optional<Uuid>(a.getId()));
        auto& emitterSource =
            static_cast<Plm::BlockParamEmitter&>(holder.addBlock(Plm::BlockParamEmitter::create()));
        emitterSource.setEmitterId(boost::optional<Uuid>(x.getId()));
        if (c.emitterSource == 0)
            emitterSource.bakeProps();
        auto& target = static_cast<Plm::BlockParamEmitter&>(holder.addBlock(reflectionOf(source)));
        if (c.ownOverride)
            target.setEmitterId(boost::optional<Uuid>(x.getId()));
        ASSERT_TRUE(
            sync(target, &source, c.emitterSource >= 0 ? &emitterSource : nullptr, nullptr));
        const boost::optional<Uuid> expected =
            c.expectA ? boost::optional<Uuid>(counterpartOfA.getId())
                      : (c.expectX ? boost::optional<Uuid>(x.getId()) : boost::none);
        EXPECT_EQ(target.getEmitterId(), expected);
        EXPECT_EQ(target.hasOverridedProps(), c.ownOverride);
        sourceHolder.removeBlock(source.getId());
        holder.removeBlock(emitterSource.getId());
        holder.removeBlock(target.getId());
    }
}

TEST(PlmBlockReflection, ListsShrinkWithTheSourceAndKeepOwnItemValues)
{
    std::unique_ptr<Plm::BlockFuncExpression> source = Plm::BlockFuncExpression::create();
    source->setNumInputs(4u);
    std::unique_ptr<Plm::BlockFuncExpression> reflection = reflectionOf(*source);
    ASSERT_TRUE(sync(*reflection, nullptr, nullptr, source.get()));
    reflection->setInputName(0, std::string("x"));
    source->setNumInputs(2u);
    source->setInputName(1, std::string("y"));
    ASSERT_TRUE(sync(*reflection, nullptr, nullptr, source.get()));
    EXPECT_EQ(reflection->getNumInputs(), 2u);
    EXPECT_EQ(reflection->getInputName(0), "x");
    EXPECT_EQ(reflection->getInputName(1), "y");
    EXPECT_EQ(reflection->getNumProps(), source->getNumProps());
}

}  // namespace
