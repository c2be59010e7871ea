// A new emitter, as its guide builds it, compiled and played by the runtime: the heart of the
// program from end to end without a screen.
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <glm/gtc/quaternion.hpp>
#include <gtest/gtest.h>

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_block_generator.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"
#include "scintari_input.h"
#include "scintari_model.h"

namespace
{

// The positions of the live particles of the first emitter instance.
std::vector<glm::vec3> positions(const Ps::SystemInst& inst)
{
    std::vector<glm::vec3> result;
    const Ps::EmitterInst& emitter = inst.getEmitterInst(0);
    std::optional<uint32_t> head = emitter.getHead();
    for (uint32_t i = head ? *head : 0; head; i = emitter.getLink(i))
    {
        result.push_back(emitter.getParticleInfoAt(i).position);
        if (emitter.getLink(i) == i)
            break;
    }
    return result;
}

TEST(ExportNewEmitter, CompilesAndPlaysParticlesThatMove)
{
    Plm::System system;
    system.addEmitter(Plm::Emitter::create("DefaultEmitter"));
    const auto compiler = Plm::SystemExportCompilerBin::create(system);
    ASSERT_EQ(compiler->getNumValidEmitters(), 1u);
    EXPECT_TRUE(compiler->getErrorEmitterExporters().empty());
    const std::vector<uint8_t> bytes = compiler->exportBytes();

    Ps::MemManagedContext context;
    std::string why;
    const auto shell = Scintari::loadEffect(bytes, context.get(), why);
    ASSERT_TRUE(shell) << why;
    EXPECT_EQ(shell->getSystem().getNumEmitters(), 1u);
    Ps::MemManagedSystemInst holder(shell->getSystem(), glm::vec3(0.0f),
                                    glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    Ps::SystemInst& inst = holder.get();
    // One second at the effect's 30 frames a second: 50 bursts a second, two seconds of life.
    for (int frame = 0; frame < 30; ++frame)
        inst.updateFrame(glm::vec3(0.0f), glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    const std::vector<glm::vec3> before = positions(inst);
    EXPECT_GE(before.size(), 40u);
    EXPECT_LE(before.size(), 60u);
    inst.updateFrame(glm::vec3(0.0f), glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    const std::vector<glm::vec3> after = positions(inst);
    ASSERT_GE(after.size(), 2u);
    // The oldest particles moved with their start velocity (a sphere of radius 100).
    const glm::vec3 moved = after.back() - before.back();
    EXPECT_GT(std::sqrt(moved.x * moved.x + moved.y * moved.y + moved.z * moved.z), 0.1f);
}

// An effect file as `run` and `render` take it: compiled in memory, with the emitter that
// doesn't compile told and left out, and the rest played.
TEST(ExportNewEmitter, EffectFilePlaysWithoutTheEmittersThatFail)
{
    const boost::filesystem::path folder =
        boost::filesystem::temp_directory_path() / boost::filesystem::unique_path();
    boost::filesystem::create_directories(folder);
    const std::string file = (folder / "two.sxed").string();
    auto handler = Plm::ProjectResourceHandler::createNewStandalone(
        file, std::make_unique<Plm::ProjectResourceSystem>(Plm::Generation::simpleSystem()));
    Plm::System& system = handler->getLoadedResource().castToSystemResourceChecked().getResource();
    Plm::Emitter& broken = system.addEmitter(Plm::Emitter::create("broken"));
    for (const Plm::Block& block : broken.allBlocks())
        if (dynamic_cast<const Plm::BlockGenerator*>(&block))
        {
            broken.removeBlock(block.getId());
            break;
        }
    ASSERT_TRUE(handler->saveUnsavedLoadedResource());

    std::vector<uint8_t> bytes;
    std::string why;
    std::ostringstream marks;
    ASSERT_TRUE(Scintari::readPlayableEffect(file, bytes, why, marks)) << why;
    std::ostringstream expected;
    expected << "emitter " << broken.getId() << " error: emitter broken lacks a generator";
    const std::string told = marks.str();
    EXPECT_EQ(told.rfind(expected.str(), 0), 0u) << told;
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1);

    Ps::MemManagedContext context;
    const auto shell = Scintari::loadEffect(bytes, context.get(), why);
    ASSERT_TRUE(shell) << why;
    EXPECT_EQ(shell->getSystem().getNumEmitters(), 1u);
    boost::filesystem::remove_all(folder);
}

}  // namespace
