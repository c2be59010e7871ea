// scintari run: loads a compiled effect from a file and runs it headless, printing statistics.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "mesh_dump.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"
#include "scintari_command.h"
#include "scintari_input.h"
#include "scintari_model.h"
#include "scintari_numbers.h"

namespace
{

const char* const kHelp =
    "scintari run <file> [options]\n"
    "\n"
    "Loads a compiled effect (the runtime's byte format) from <file> and runs it without a\n"
    "screen, at the effect's own frame rate, with the emitter standing at the origin.\n"
    "An effect file (<file> ending in .sxed) is compiled in memory first; the emitters\n"
    "that don't compile are left out and told on standard error, one line each, as\n"
    "`scintari compile` tells them.\n"
    "\n"
    "Options:\n"
    "  --frames N        simulate N frames (default 30); N from 0 to 10000000\n"
    "  --seconds S       simulate the whole frames that S seconds hold at the effect's frame\n"
    "                    rate (1 second at 30 fps is 30 frames); S from 0 to 100000, and\n"
    "                    at most 10000000 frames\n"
    "  --update-dt X     drive the instance as a host does, with update() calls of X seconds\n"
    "                    (the instance's accumulator turns them into frames); with --frames N\n"
    "                    it makes N calls, with --seconds S as many whole calls as S holds;\n"
    "                    X from 0.000001 to 3600\n"
    "  --every K         print a record every K frames (or calls with --update-dt); K from 1\n"
    "                    to 10000000\n"
    "  --seed N          for an effect without a fixed seed: seed the runtime's source of\n"
    "                    seeds with N, so that runs repeat; N from 0 to 4294967295, decimal\n"
    "                    or hexadecimal after 0x\n"
    "  --dump-particles  at the end, print each live particle's position per emitter instance\n"
    "\n"
    "Numbers are read whole and strictly: a value that isn't a finite number of the stated\n"
    "range is a usage error that names the range. <file> must be a regular file of at most\n"
    "67108864 bytes (64 MiB).\n"
    "\n"
    "Output, one record per line, numbers in C's %g form:\n"
    "  effect <file> bytes <n>\n"
    "  pool computed <bytes> used <bytes>            the effect's pool by the two loading passes\n"
    "  instance_block <bytes>                         the block of one running instance\n"
    "  fps <f> frame_time <s> presim <s> seed fixed <n> | seed context <n> | seed clock\n"
    "  emitters <n> standalone <n>\n"
    "  emitter <i> max_particles <n> deep <n> operations <n> standalone <0|1> sorting <0-2>\n"
    "          connected <n>\n"
    "  frame <k> time <s> particles <n> polygons <n>     with --every (k counts steps)\n"
    "  end steps <n> time <s> sub_frame <s> particles <n> polygons <n> render_calls <n>\n"
    "  stats <i> instances <n> particles <n> polygons <n>   one per emitter, after each record\n"
    "  instance <path> emitter <i> particles <n>       with --dump-particles; <path> is the\n"
    "                                                  standalone index, then /<particle>.<c>\n"
    "                                                  for the c-th connected instance\n"
    "  particle <index> <x> <y> <z>                    newest first\n"
    "\n"
    "The statistics are those of the last simulated frame (instances and particles) and of a\n"
    "construct() run before each record (polygons).\n"
    "Exit codes: 0 done, 1 usage error, 2 the file can't be read or the effect is refused.\n"
    "A refusal says what is wrong on standard error, for damaged data with the byte offset\n"
    "where reading stopped:\n"
    "  scintari run: <file>: the data ends too early at byte <offset>\n"
    "  scintari run: <file>: the effect is damaged at byte <offset>\n";

// The most steps (frames, or update() calls) one run makes.
constexpr uint64_t kMaxSteps = 10000000;
const Scintari::WholeRule kFramesRule{"--frames", 0, kMaxSteps};
const Scintari::RealRule kSecondsRule{"--seconds", 0.0, 100000.0};
const Scintari::RealRule kUpdateDtRule{"--update-dt", 0.000001, 3600.0};
const Scintari::WholeRule kEveryRule{"--every", 1, kMaxSteps};
const Scintari::WholeRule kSeedRule{"--seed", 0, 0xFFFFFFFFull, true};

struct Options
{
    std::string file;
    std::optional<uint64_t> frames;
    std::optional<double> seconds;
    std::optional<double> updateDt;
    uint64_t every = 0;
    std::optional<uint64_t> seed;
    bool dumpParticles = false;
    bool dumpMesh = false;
    Scintari::MeshDumpCamera camera;
};

int usage(const std::string& message)
{
    std::cerr << "scintari run: " << message << "\n";
    return 1;
}

int refused(const Options& options, const std::string& message)
{
    std::cerr << "scintari run: " << options.file << ": " << message << "\n";
    return 2;
}

// The whole steps of `stepLength` seconds that `seconds` hold, or nothing beyond kMaxSteps.
// The frame time is a float near 1 / fps, so the quotient may fall a hair short of the whole
// number it stands for (1 / float(1 / 30) is 29.9999984): a few float roundings of slack
// count it whole, far less than any step the user could mean.
std::optional<uint64_t> stepsIn(double seconds, double stepLength)
{
    const double holds = seconds / stepLength * (1.0 + 0x1p-22);
    if (!(holds >= 0.0 && holds < static_cast<double>(kMaxSteps) + 1.0))
        return std::nullopt;
    return static_cast<uint64_t>(std::floor(holds));
}

std::string num(double v)
{
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%g", v);
    return buffer;
}

void printStats(std::ostream& out, const Ps::SystemInst& inst)
{
    const Ps::SystemInst::Stats& stats = inst.getStats();
    for (size_t i = 0; i < stats.emitters.size(); ++i)
        out << "stats " << i << " instances " << stats.emitters[i].numEmitters << " particles "
            << stats.emitters[i].numParticles << " polygons " << stats.emitters[i].numPolygons
            << "\n";
}

void dumpInstance(std::ostream& out, const Ps::EmitterInst& inst, const std::string& path)
{
    out << "instance " << path << " emitter " << inst.getEmitter().getIndex() << " particles "
        << inst.getNumActiveParticles() << "\n";
    std::optional<uint32_t> head = inst.getHead();
    if (!head)
        return;
    std::vector<uint32_t> order;
    for (uint32_t i = *head;; i = inst.getLink(i))
    {
        order.push_back(i);
        if (inst.getLink(i) == i)
            break;
    }
    for (uint32_t i : order)
    {
        const Ps::ParticleInfo& info = inst.getParticleInfoAt(i);
        out << "particle " << i << " " << num(info.position.x) << " " << num(info.position.y) << " "
            << num(info.position.z) << (info.waitingForDelete_ ? " waiting" : "") << "\n";
    }
    const uint32_t numConnected = inst.getEmitter().getNumConnectedEmitters();
    for (uint32_t i : order)
        for (uint32_t c = 0; c < numConnected; ++c)
            dumpInstance(out, *inst.getParticleInfoAt(i).connectedEmitters[c],
                         path + "/" + std::to_string(i) + "." + std::to_string(c));
}

int runEffect(const Options& options)
{
    std::vector<uint8_t> bytes;
    std::string why;
    // An effect file is compiled in memory; what keeps an emitter from compiling is told on
    // standard error and the rest is played.
    if (!Scintari::readPlayableEffect(options.file, bytes, why, std::cerr))
    {
        std::cerr << "scintari run: " << why << "\n";
        return 2;
    }
    std::ostream& out = std::cout;
    out << "effect " << options.file << " bytes " << bytes.size() << "\n";

    Ps::MemManagedContext context;
    const std::unique_ptr<Ps::MemManagedSystemShell> shell =
        Scintari::loadEffect(bytes, context.get(), why);
    if (!shell)
        return refused(options, why);
    const Ps::System& system = shell->getSystem();
    out << "pool computed " << shell->getPoolSize() << " used " << shell->getUsedPoolSize() << "\n";

    std::string seedText = "seed clock";
    if (const std::optional<uint32_t> seed = system.retrieveSeed())
    {
        seedText = "seed fixed " + std::to_string(*seed);
    }
    else if (options.seed)
    {
        context.get().seedRandom(static_cast<uint32_t>(*options.seed));
        seedText = "seed context " + std::to_string(*options.seed);
    }

    // Steps: frames of the effect, or update() calls of the host's step.
    const double stepLength = options.updateDt ? *options.updateDt : system.getFrameTime();
    uint64_t steps = 30;
    if (options.frames)
    {
        steps = *options.frames;
    }
    else if (options.seconds)
    {
        const std::optional<uint64_t> held = stepsIn(*options.seconds, stepLength);
        if (!held)
        {
            std::cerr << "scintari run: --seconds " << num(*options.seconds)
                      << " holds more than the " << kMaxSteps << " steps a run may have, at "
                      << num(stepLength) << " s each\n";
            return 1;
        }
        steps = *held;
    }

    std::unique_ptr<Ps::MemManagedSystemInst> holder;
    try
    {
        holder = std::make_unique<Ps::MemManagedSystemInst>(system, glm::vec3(0.0f),
                                                            glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    }
    catch (const std::exception& e)
    {
        return refused(options, Scintari::describeFailure(e) + " (while starting it)");
    }
    Ps::SystemInst& inst = holder->get();
    out << "instance_block " << holder->getBlockSize() << "\n";
    out << "fps " << num(1.0 / system.getFrameTime()) << " frame_time "
        << num(system.getFrameTime()) << " presim " << num(system.getPresimTime()) << " "
        << seedText << "\n";
    out << "emitters " << system.getNumEmitters() << " standalone " << inst.getNumEmitterInsts()
        << "\n";
    for (uint32_t i = 0; i < system.getNumEmitters(); ++i)
    {
        const Ps::Emitter& emitter = system.getEmitter(i);
        out << "emitter " << i << " max_particles " << emitter.getMaxNumParticles() << " deep "
            << emitter.getMaxNumParticlesDeep() << " operations " << emitter.getNumOperations()
            << " standalone " << (emitter.isStandalone() ? 1 : 0) << " sorting "
            << static_cast<int>(emitter.getSorting()) << " connected "
            << emitter.getNumConnectedEmitters() << "\n";
    }

    const glm::vec3 position(0.0f);
    const glm::quat rotation(1.0f, 0.0f, 0.0f, 0.0f);
    const std::optional<Ps::RenderConfig> config;
    auto constructAll = [&]()
    {
        inst.construct(glm::vec3(0.0f, 0.0f, -1.0f), glm::vec3(0.0f, 1.0f, 0.0f),
                       glm::vec3(1.0f, 0.0f, 0.0f), config);
    };
    uint64_t k = 1;
    try
    {
        for (; k <= steps; ++k)
        {
            if (options.updateDt)
                inst.update(position, rotation, static_cast<float>(*options.updateDt));
            else
                inst.updateFrame(position, rotation);
            if (options.every > 0 && k % options.every == 0)
            {
                constructAll();
                out << "frame " << k << " time " << num(inst.getTime()) << " particles "
                    << inst.getStats().numParticles << " polygons " << inst.getStats().numPolygons
                    << "\n";
                printStats(out, inst);
            }
        }
        constructAll();
    }
    catch (const std::exception& e)
    {
        const std::string when =
            k <= steps ? " (in step " + std::to_string(k) + ")" : " (while building its geometry)";
        return refused(options, Scintari::describeFailure(e) + when);
    }
    out << "end steps " << steps << " time " << num(inst.getTime()) << " sub_frame "
        << num(inst.getSubFrameTime()) << " particles " << inst.getStats().numParticles
        << " polygons " << inst.getStats().numPolygons << " render_calls "
        << inst.getNumRenderCalls() << "\n";
    printStats(out, inst);
    if (options.dumpParticles)
        for (uint32_t i = 0; i < inst.getNumEmitterInsts(); ++i)
            dumpInstance(out, inst.getEmitterInst(i), std::to_string(i));
    if (options.dumpMesh)
    {
        try
        {
            Scintari::dumpMeshes(out, inst, options.camera);
        }
        catch (const std::exception& e)
        {
            return refused(options,
                           Scintari::describeFailure(e) + " (while building its geometry)");
        }
    }
    return 0;
}

int run(const std::vector<std::string>& args)
{
    Options options;
    for (size_t i = 0; i < args.size(); ++i)
    {
        const std::string& arg = args[i];
        auto value = [&](const char* name) -> const std::string*
        {
            if (i + 1 >= args.size())
            {
                usage(std::string(name) + " needs a value");
                return nullptr;
            }
            return &args[++i];
        };
        std::string why;
        if (arg == "--frames")
        {
            const std::string* v = value("--frames");
            uint64_t n = 0;
            if (!v)
                return 1;
            if (!Scintari::parseWhole(*v, kFramesRule, n, why))
                return usage(why);
            options.frames = n;
        }
        else if (arg == "--seconds")
        {
            const std::string* v = value("--seconds");
            double s = 0.0;
            if (!v)
                return 1;
            if (!Scintari::parseReal(*v, kSecondsRule, s, why))
                return usage(why);
            options.seconds = s;
        }
        else if (arg == "--update-dt")
        {
            const std::string* v = value("--update-dt");
            double s = 0.0;
            if (!v)
                return 1;
            if (!Scintari::parseReal(*v, kUpdateDtRule, s, why))
                return usage(why);
            options.updateDt = s;
        }
        else if (arg == "--every")
        {
            const std::string* v = value("--every");
            uint64_t n = 0;
            if (!v)
                return 1;
            if (!Scintari::parseWhole(*v, kEveryRule, n, why))
                return usage(why);
            options.every = n;
        }
        else if (arg == "--seed")
        {
            const std::string* v = value("--seed");
            uint64_t n = 0;
            if (!v)
                return 1;
            if (!Scintari::parseWhole(*v, kSeedRule, n, why))
                return usage(why);
            options.seed = n;
        }
        else if (arg == "--dump-particles")
        {
            options.dumpParticles = true;
        }
        else if (arg == "--dump-mesh")
        {
            options.dumpMesh = true;
        }
        else if (arg == "--camera")
        {
            std::string why;
            if (!Scintari::parseMeshDumpCamera(args, i, options.camera, why))
                return usage(why);
        }
        else if (!arg.empty() && arg[0] == '-')
        {
            return usage("unknown option '" + arg + "'");
        }
        else if (options.file.empty())
        {
            options.file = arg;
        }
        else
        {
            return usage("one file only");
        }
    }
    if (options.file.empty())
        return usage("no file given; see scintari help run");
    if (options.frames && options.seconds)
        return usage("--frames and --seconds exclude each other");
    return runEffect(options);
}

const std::string kFullHelp = std::string(kHelp) + "\nGeometry:\n" + Scintari::kMeshDumpHelp;

const Scintari::CommandRegistration registration(Scintari::Command{
    "run", "run a compiled effect headless and print its statistics", kFullHelp.c_str(), &run});

}  // namespace
