// The function blocks compiled into an effect and run by the runtime: each case builds a few
// blocks into a new emitter, makes a particle parameter read the block under test at birth,
// compiles the effect, loads it with the exact pool and runs it; then it reads what the block's
// operation computed for the last particle born.

#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <gtest/gtest.h>

#include "particle_layout_model/plm_area.h"
#include "particle_layout_model/plm_block_func_area.h"
#include "particle_layout_model/plm_block_func_axis_from_rotation.h"
#include "particle_layout_model/plm_block_func_conv2to3.h"
#include "particle_layout_model/plm_block_func_curves.h"
#include "particle_layout_model/plm_block_func_direction.h"
#include "particle_layout_model/plm_block_func_distrib.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_func_force_move.h"
#include "particle_layout_model/plm_block_func_lerp.h"
#include "particle_layout_model/plm_block_func_move.h"
#include "particle_layout_model/plm_block_func_noise.h"
#include "particle_layout_model/plm_block_func_path.h"
#include "particle_layout_model/plm_block_func_random.h"
#include "particle_layout_model/plm_block_func_random_vec.h"
#include "particle_layout_model/plm_block_func_rot2vec.h"
#include "particle_layout_model/plm_block_func_rotation_axis.h"
#include "particle_layout_model/plm_block_func_rotation_from_axes.h"
#include "particle_layout_model/plm_block_func_split_vec.h"
#include "particle_layout_model/plm_block_func_transform.h"
#include "particle_layout_model/plm_block_func_transform3.h"
#include "particle_layout_model/plm_block_func_vec2rot.h"
#include "particle_layout_model/plm_block_param_user_typed.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_system.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_operation.h"
#include "particle_system/ps_system_inst.h"
#include "plot/plot.h"

namespace
{

using glm::quat;
using glm::vec2;
using glm::vec3;
using namespace Plm;

Ps::Context& context()
{
    static Ps::MemManagedContext holder;
    return holder.get();
}

// The operation of a block whose output a case reads, and which output of it.
struct Probe
{
    const Block* block = nullptr;
    unsigned int operId = 0;
    uint32_t output = 0;
};

// A new emitter of an effect, and the small means to build a graph in it.
struct Scene
{
    System system;
    Emitter& emitter = system.addEmitter(Emitter::create("e"));

    template <class B>
    B& add(std::unique_ptr<B> block)
    {
        return static_cast<B&>(emitter.addBlock(std::move(block)));
    }
    void link(const Block& from, uint32_t output, const Block& to, uint32_t input)
    {
        EXPECT_TRUE(emitter.createLink(from, output, to, input))
            << from.getFactoryName().str() << " " << output << " -> " << to.getFactoryName().str()
            << " " << input;
    }

    BlockFuncDistribFloat& constant(float v)
    {
        auto& block = add(BlockFuncDistribFloat::create());
        block.setValue(0, v);
        return block;
    }
    BlockFuncDistribVec2& constant(const vec2& v)
    {
        auto& block = add(BlockFuncDistribVec2::create());
        for (unsigned int i = 0; i < 2; ++i)
            block.setValue(i, v[i]);
        return block;
    }
    BlockFuncDistribVec3& constant(const vec3& v)
    {
        auto& block = add(BlockFuncDistribVec3::create());
        for (unsigned int i = 0; i < 3; ++i)
            block.setValue(i, v[i]);
        return block;
    }

    // A particle parameter that takes output `output` of `block` at birth: it puts the block
    // into the init chain.
    template <class T>
    void readAtBirth(const Block& block, uint32_t output)
    {
        auto& parameter = add(BlockParamUserTyped<T>::create());
        parameter.setValueExternal(true);
        link(block, output, parameter, 0);
    }
};

// The error marks of an emitter that didn't compile, for the failure message.
std::string describeErrors(const SystemExportCompilerBin& compiler, const Emitter& emitter)
{
    const EmitterExportCompilerBase* failed = compiler.getErrorEmitterExporter(emitter.getId());
    if (!failed)
        return "not compiled, no errors recorded";
    std::string text = failed->hasUnknownError() ? "unknown error;" : "";
    for (const auto& id : failed->errorBlocks())
        if (const Block* block = emitter.findBlockById(id))
            text += " block " + block->getFactoryName().str();
    for (const BlockLink& link : failed->errorLinks())
        text += " link to input " + std::to_string(link.input_.desc_.index_);
    for (const BlockConnector& connector : failed->errorConnectors())
        text += " connector " + std::to_string(connector.desc_.index_);
    return text;
}

unsigned int numComponents(Ps::EnumValueType type)
{
    switch (type)
    {
    case Ps::VT_Float:
        return 1;
    case Ps::VT_Vec2:
        return 2;
    case Ps::VT_Vec3:
        return 3;
    default:
        return 4;
    }
}

constexpr int kFrames = 30;

// Compiles the scene, loads and runs it, and reads the probed output (x, y, z, w for a
// quaternion). Empty if anything failed, which has been reported then.
std::vector<float> compileRunAndRead(Scene& scene, const Probe& probe)
{
    const auto compiler = SystemExportCompilerBin::create(scene.system);
    if (compiler->getNumValidEmitters() != 1u)
    {
        ADD_FAILURE() << describeErrors(*compiler, scene.emitter);
        return {};
    }
    const std::vector<uint8_t> bytes = compiler->exportBytes();
    const boost::optional<unsigned int> opIndex =
        compiler->getValidEmitterExporterBin(0).getBlockOpIndex(*probe.block, probe.operId);
    if (!opIndex)
    {
        ADD_FAILURE() << "the probed operation isn't compiled";
        return {};
    }
    Ps::MemManagedSystemShell shell(bytes.data(), static_cast<uint32_t>(bytes.size()), context());
    EXPECT_EQ(shell.getUsedPoolSize(), shell.getPoolSize());
    Ps::MemManagedSystemInst inst(shell.getSystem(), vec3(0.0f), quat(1.0f, 0.0f, 0.0f, 0.0f));
    for (int i = 0; i < kFrames; ++i)
        inst.get().updateFrame(vec3(0.0f), quat(1.0f, 0.0f, 0.0f, 0.0f));
    Ps::EmitterInst& emitterInst = inst.get().getEmitterInst(0);
    // What was read at birth is there only if particles were born.
    if (emitterInst.getNumActiveParticles() == 0)
    {
        ADD_FAILURE() << "no particle was born";
        return {};
    }
    const Ps::Operation& operation = emitterInst.getEmitter().getOperation(*opIndex);
    if (probe.output >= operation.getNumOutputs())
    {
        ADD_FAILURE() << "the operation has " << operation.getNumOutputs() << " outputs";
        return {};
    }
    const Ps::Connection& output = operation.getOutput(probe.output);
    const auto* values = static_cast<const float*>(output.getVoidPtr(emitterInst));
    return std::vector<float>(values, values + numComponents(output.getValueType()));
}

std::vector<float> components(float v) { return {v}; }
std::vector<float> components(const vec2& v) { return {v.x, v.y}; }
std::vector<float> components(const vec3& v) { return {v.x, v.y, v.z}; }
std::vector<float> components(const quat& q) { return {q.x, q.y, q.z, q.w}; }

struct Case
{
    const char* name;
    // Builds the graph; returns the operation to read.
    std::function<Probe(Scene&)> build;
    // What it must read, within the tolerance; or a check of its own for random results.
    std::vector<float> expected;
    std::function<void(const std::vector<float>&)> check = nullptr;
    float tolerance = 1e-5f;
};

void runCase(const Case& c)
{
    SCOPED_TRACE(c.name);
    Scene scene;
    const Probe probe = c.build(scene);
    const std::vector<float> values = compileRunAndRead(scene, probe);
    if (values.empty())
        return;
    if (c.check)
    {
        c.check(values);
        return;
    }
    ASSERT_EQ(values.size(), c.expected.size());
    for (size_t i = 0; i < values.size(); ++i)
        EXPECT_NEAR(values[i], c.expected[i], c.tolerance) << "component " << i;
}

// Output connectors of the single-output kinds, as the blocks number them.
constexpr uint32_t kLerpOut = 3;

const float kSqrtHalf = std::sqrt(0.5f);

TEST(ExportFuncBlocks, PlainFunctionsComputeWhatTheirPropertiesSay)
{
    const Case cases[] = {
        {"lerp of constants",
         [](Scene& s)
         {
             auto& lerp = s.add(BlockFuncLerpFloat::create());
             lerp.setFromExternal(false);
             lerp.setToExternal(false);
             lerp.setInterpExternal(false);
             lerp.setFrom(2.0f);
             lerp.setTo(4.0f);
             lerp.setInterp(0.25f);
             s.readAtBirth<float>(lerp, kLerpOut);
             return Probe{&lerp};
         },
         components(2.5f)},
        {"lerp of vectors read from other blocks",
         [](Scene& s)
         {
             auto& lerp = s.add(BlockFuncLerpVec3::create());
             s.link(s.constant(vec3(1, 2, 3)), 0, lerp, 0);
             s.link(s.constant(vec3(3, 2, 1)), 0, lerp, 1);
             s.link(s.constant(0.5f), 0, lerp, 2);
             s.readAtBirth<vec3>(lerp, kLerpOut);
             return Probe{&lerp};
         },
         components(vec3(2, 2, 2))},
        {"direction",
         [](Scene& s)
         {
             auto& direction = s.add(BlockFuncDirectionVec2::create());
             direction.setFromExternal(false);
             direction.setToExternal(false);
             direction.setFrom(vec2(1, 1));
             direction.setTo(vec2(4, 5));
             direction.setLength(10.0f);
             s.readAtBirth<vec2>(direction, 3);
             return Probe{&direction};
         },
         components(vec2(6, 8))},
        {"distribution of constants",
         [](Scene& s)
         {
             auto& value = s.constant(vec3(1, 2, 3));
             s.readAtBirth<vec3>(value, 0);
             return Probe{&value};
         },
         components(vec3(1, 2, 3))},
        {"distribution with one component read from a block",
         [](Scene& s)
         {
             auto& value = s.constant(vec2(0, 7));
             value.setValueExternal(0, true);
             s.link(s.constant(5.0f), 0, value, 1);
             s.readAtBirth<vec2>(value, 0);
             return Probe{&value};
         },
         components(vec2(5, 7))},
        {"float distribution read from a block",
         [](Scene& s)
         {
             auto& value = s.constant(0.0f);
             value.setValueExternal(0, true);
             s.link(s.constant(-3.0f), 0, value, 1);
             s.readAtBirth<float>(value, 0);
             return Probe{&value};
         },
         components(-3.0f)},
        {"split, second component",
         [](Scene& s)
         {
             auto& split = s.add(BlockFuncSplitVec3::create());
             s.link(s.constant(vec3(1, 2, 3)), 0, split, 0);
             s.readAtBirth<float>(split, 2);
             return Probe{&split, 0, 1};
         },
         components(2.0f)},
        {"2D to 3D",
         [](Scene& s)
         {
             auto& conv = s.add(BlockFuncConv2to3::create());
             conv.setZ(7.0f);
             s.link(s.constant(vec2(1, 2)), 0, conv, 0);
             s.readAtBirth<vec3>(conv, 2);
             return Probe{&conv};
         },
         components(vec3(1, 2, 7))},
        {"rotation about an axis",
         [](Scene& s)
         {
             auto& rotation = s.add(BlockFuncRotationAxis::create());
             rotation.setAxis(vec3(0, 0, 2));
             rotation.setAngle(90.0f);
             s.readAtBirth<quat>(rotation, 2);
             return Probe{&rotation};
         },
         components(quat(kSqrtHalf, 0, 0, kSqrtHalf))},
        {"Y axis of a rotation",
         [](Scene& s)
         {
             auto& rotation = s.add(BlockFuncRotationAxis::create());
             rotation.setAngle(90.0f);
             auto& axes = s.add(BlockFuncAxisFromRotation::create());
             s.link(rotation, 2, axes, 0);
             s.readAtBirth<vec3>(axes, 2);
             return Probe{&axes, 0, 1};
         },
         components(vec3(-1, 0, 0))},
        {"rotation from two axes",
         [](Scene& s)
         {
             auto& rotation = s.add(BlockFuncRotationFromAxes::create());
             rotation.setType(Ps::RFA_XY);
             rotation.setFirstAxis(vec3(0, 3, 0));
             rotation.setSecondAxis(vec3(-1, 0, 0));
             s.readAtBirth<quat>(rotation, 2);
             return Probe{&rotation};
         },
         components(quat(kSqrtHalf, 0, 0, kSqrtHalf))},
        {"angle to vector",
         [](Scene& s)
         {
             auto& rot2vec = s.add(BlockFuncRot2Vec::create());
             rot2vec.setAngleExternal(false);
             rot2vec.setAngle(90.0f);
             rot2vec.setLength(2.0f);
             s.readAtBirth<vec2>(rot2vec, 2);
             return Probe{&rot2vec};
         },
         components(vec2(0, 2))},
        {"vector to angle",
         [](Scene& s)
         {
             auto& vec2rot = s.add(BlockFuncVec2Rot::create());
             s.link(s.constant(vec2(0, 3)), 0, vec2rot, 0);
             s.readAtBirth<float>(vec2rot, 1);
             return Probe{&vec2rot};
         },
         components(90.0f)},
        {"random of an empty range",
         [](Scene& s)
         {
             auto& random = s.add(BlockFuncRandom::create());
             random.setStart(3.0f);
             random.setEnd(3.0f);
             s.readAtBirth<float>(random, 2);
             return Probe{&random};
         },
         components(3.0f)},
        {"random 2D vector on its circle",
         [](Scene& s)
         {
             auto& random = s.add(BlockFuncRandomVec::create(VT_Vec2));
             random.setRadius(2.0f);
             s.readAtBirth<vec2>(random, 1);
             return Probe{&random};
         },
         {},
         [](const std::vector<float>& v)
         {
             ASSERT_EQ(v.size(), 2u);
             EXPECT_NEAR(std::hypot(v[0], v[1]), 2.0f, 1e-5f);
         }},
        {"random 3D vector on its sphere",
         [](Scene& s)
         {
             auto& random = s.add(BlockFuncRandomVec::create(VT_Vec3));
             random.setRadiusExternal(true);
             s.link(s.constant(4.0f), 0, random, 0);
             s.readAtBirth<vec3>(random, 1);
             return Probe{&random};
         },
         {},
         [](const std::vector<float>& v)
         {
             ASSERT_EQ(v.size(), 3u);
             EXPECT_NEAR(glm::length(vec3(v[0], v[1], v[2])), 4.0f, 1e-4f);
         }},
        {"noise mapped to a range of one point, added to its input",
         [](Scene& s)
         {
             auto& noise = s.add(BlockFuncNoise::create());
             noise.setOutputRangeLow(vec3(2, 3, 4));
             noise.setOutputRangeHigh(vec3(2, 3, 4));
             noise.setOutputRangeScale(2.0f);
             noise.setAdditive(true);
             s.link(s.constant(vec3(1, 1, 1)), 0, noise, 0);
             s.readAtBirth<vec3>(noise, 1);
             return Probe{&noise};
         },
         components(vec3(5, 7, 9))},
        {"2D transform",
         [](Scene& s)
         {
             auto& transform = s.add(BlockFuncTransform::create(false));
             transform.setPosition(vec2(10, 0));
             transform.setRotation(90.0f);
             transform.setScale(2.0f);
             s.link(s.constant(vec2(1, 0)), 0, transform, 0);
             s.readAtBirth<vec2>(transform, 1);
             return Probe{&transform};
         },
         components(vec2(10, 2))},
        {"inverted 2D transform undoes the transform",
         [](Scene& s)
         {
             auto& transform = s.add(BlockFuncTransform::create(true));
             transform.setPosition(vec2(10, 0));
             transform.setRotation(90.0f);
             transform.setScale(2.0f);
             s.link(s.constant(vec2(10, 2)), 0, transform, 0);
             s.readAtBirth<vec2>(transform, 1);
             return Probe{&transform};
         },
         components(vec2(1, 0))},
    };
    for (const Case& c : cases)
        runCase(c);
}

// A curve of a straight line through (t0, v0) and (t1, v1).
Plot line(float t0, float v0, float t1, float v1)
{
    Plot plot;
    plot.appendKeyBack(PlotKeySmooth(t0, v0));
    plot.appendKeyBackWithSegment(PlotKeySmooth(t1, v1), PlotSegLinear());
    return plot;
}

TEST(ExportFuncBlocks, MotionAndShapesFollowTheirData)
{
    const Case cases[] = {
        {"move with a constant speed",
         [](Scene& s)
         {
             auto& move = s.add(BlockFuncMove::create(CT_Vec2));
             move.setSpeed<vec2>(vec2(0, -10));
             s.link(s.constant(vec2(1, 2)), 0, move, 0);
             s.readAtBirth<vec2>(move, 2);
             return Probe{&move};
         },
         {},
         [](const std::vector<float>& v)
         {
             ASSERT_EQ(v.size(), 2u);
             EXPECT_EQ(v[0], 1.0f);
             // input + dt * speed: somewhat below the input, by less than a second's move.
             EXPECT_LE(v[1], 2.0f);
             EXPECT_GT(v[1], -8.0f);
         }},
        {"force move, the velocity output",
         [](Scene& s)
         {
             auto& move = s.add(BlockFuncForceMove2::create());
             move.setNumForces(2u);
             move.setForce(0, vec2(0, 0));
             move.setForceExternal(1, true);
             s.link(s.constant(vec2(0, 0)), 0, move, 256 + 1);
             s.link(s.constant(vec2(0, 0)), 0, move, 0);
             s.link(s.constant(vec2(3, -1)), 0, move, 1);
             s.readAtBirth<vec2>(move, 3);
             return Probe{&move, 0, 1};
         },
         // No force and no drag: the velocity stays.
         components(vec2(3, -1))},
        {"curve of one track",
         [](Scene& s)
         {
             auto& curves = s.add(BlockFuncCurves::create());
             curves.setTrack(0, line(0.0f, 0.0f, 1.0f, 10.0f));
             s.link(s.constant(0.25f), 0, curves, BlockFuncCurves::kInputConnector);
             s.readAtBirth<float>(curves, BlockFuncCurves::kOutputConnector);
             return Probe{&curves};
         },
         components(2.5f)},
        {"curves of three tracks, clamped at their ends",
         [](Scene& s)
         {
             auto& curves = s.add(BlockFuncCurves::create());
             curves.setNumTracks(3u);
             curves.setTrack(0, line(0.0f, 0.0f, 1.0f, 10.0f));
             curves.setTrack(1, line(0.0f, 5.0f, 2.0f, 1.0f));
             curves.setTrack(2, line(-1.0f, 1.0f, 1.0f, 3.0f));
             s.link(s.constant(1.5f), 0, curves, BlockFuncCurves::kInputConnector);
             s.readAtBirth<vec3>(curves, BlockFuncCurves::kOutputConnector);
             return Probe{&curves};
         },
         components(vec3(10, 2, 3))},
        {"path, the point half way",
         [](Scene& s)
         {
             // The default path: (100, 100), (200, 200), (300, 100).
             auto& path = s.add(BlockFuncPath::create());
             s.link(s.constant(0.5f), 0, path, BlockFuncPath::kInputConnector);
             s.readAtBirth<vec2>(path, BlockFuncPath::kPositionConnector);
             return Probe{&path};
         },
         components(vec2(200, 200)), nullptr, 1e-3f},
        {"path, the direction at a quarter",
         [](Scene& s)
         {
             auto& path = s.add(BlockFuncPath::create());
             s.link(s.constant(0.25f), 0, path, BlockFuncPath::kInputConnector);
             s.readAtBirth<vec2>(path, BlockFuncPath::kDirectionConnector);
             return Probe{&path, 0, 1};
         },
         components(vec2(kSqrtHalf, kSqrtHalf))},
        {"path read only for its length",
         [](Scene& s)
         {
             auto& path = s.add(BlockFuncPath::create());
             s.readAtBirth<float>(path, BlockFuncPath::kLengthConnector);
             return Probe{&path, 1};
         },
         components(200.0f * std::sqrt(2.0f)), nullptr, 1e-3f},
        {"area with one painted cell",
         [](Scene& s)
         {
             std::vector<uint8_t> image(4 * 3, 0);
             image[1 * 4 + 2] = 200;  // column 2, row 1
             auto& area = s.add(BlockFuncArea::create());
             area.setArea(Area(-10, 20, 4, 3, image.data()));
             area.setOptPixelSize(1u);
             s.link(s.constant(0.5f), 0, area, BlockFuncArea::CI_Input);
             s.readAtBirth<vec2>(area, BlockFuncArea::CI_OutputPosition);
             return Probe{&area};
         },
         {},
         [](const std::vector<float>& v)
         {
             ASSERT_EQ(v.size(), 2u);
             // Inside the cell at (-10 + 2, 20 + 1), one unit wide.
             EXPECT_GE(v[0], -8.0f);
             EXPECT_LE(v[0], -7.0f);
             EXPECT_GE(v[1], 21.0f);
             EXPECT_LE(v[1], 22.0f);
         }},
        {"area read only for its square",
         [](Scene& s)
         {
             std::vector<uint8_t> image(4 * 4, 0);
             image[0] = 255;
             image[5] = 255;
             image[15] = 51;
             auto& area = s.add(BlockFuncArea::create());
             area.setArea(Area(0, 0, 4, 4, image.data()));
             s.readAtBirth<float>(area, BlockFuncArea::CI_OutputSquare);
             return Probe{&area, 1};
         },
         components(2.2f)},
    };
    for (const Case& c : cases)
        runCase(c);
}

// The other value types of the typed kinds: each picks its own operation, whose reader checks
// the types of its inputs.
TEST(ExportFuncBlocks, TypedKindsPickTheOperationOfTheirType)
{
    const Case cases[] = {
        {"lerp of vec2",
         [](Scene& s)
         {
             auto& lerp = s.add(BlockFuncLerpVec2::create());
             lerp.setInterpExternal(false);
             lerp.setInterp(0.5f);
             s.link(s.constant(vec2(0, 4)), 0, lerp, 0);
             s.link(s.constant(vec2(2, 0)), 0, lerp, 1);
             s.readAtBirth<vec2>(lerp, kLerpOut);
             return Probe{&lerp};
         },
         components(vec2(1, 2))},
        {"direction of vec3",
         [](Scene& s)
         {
             auto& direction = s.add(BlockFuncDirectionVec3::create());
             s.link(s.constant(vec3(1, 1, 1)), 0, direction, 0);
             s.link(s.constant(vec3(1, 1, 4)), 0, direction, 1);
             s.readAtBirth<vec3>(direction, 3);
             return Probe{&direction};
         },
         components(vec3(0, 0, 1))},
        {"move of a float, read at once",
         [](Scene& s)
         {
             auto& move = s.add(BlockFuncMove::create(CT_Float));
             s.link(s.constant(6.0f), 0, move, 0);
             s.readAtBirth<float>(move, 2);
             return Probe{&move};
         },
         components(6.0f)},
        {"move of a vec3 with an external speed of zero",
         [](Scene& s)
         {
             auto& move = s.add(BlockFuncMove::create(CT_Vec3));
             move.setSpeedExternal(true);
             s.link(s.constant(vec3(1, 2, 3)), 0, move, 0);
             s.link(s.constant(vec3(0, 0, 0)), 0, move, 1);
             s.readAtBirth<vec3>(move, 2);
             return Probe{&move};
         },
         components(vec3(1, 2, 3))},
        {"force move of vec3 with a wind and no drag",
         [](Scene& s)
         {
             auto& move = s.add(BlockFuncForceMove3::create());
             move.setNumVelocities(1u);
             move.setVelocity(0, vec3(5, 5, 5));
             s.link(s.constant(vec3(0, 0, 0)), 0, move, 0);
             s.link(s.constant(vec3(0, 1, 0)), 0, move, 1);
             s.readAtBirth<vec3>(move, 3);
             return Probe{&move, 0, 1};
         },
         components(vec3(0, 1, 0))},
        {"split of vec2",
         [](Scene& s)
         {
             auto& split = s.add(BlockFuncSplitVec2::create());
             s.link(s.constant(vec2(8, 9)), 0, split, 0);
             s.readAtBirth<float>(split, 1);
             return Probe{&split};
         },
         components(8.0f)},
        {"curves of two tracks",
         [](Scene& s)
         {
             auto& curves = s.add(BlockFuncCurves::create());
             curves.setNumTracks(2u);
             curves.setTrack(1, line(0.0f, 1.0f, 1.0f, 3.0f));
             s.link(s.constant(0.5f), 0, curves, BlockFuncCurves::kInputConnector);
             s.readAtBirth<vec2>(curves, BlockFuncCurves::kOutputConnector);
             return Probe{&curves};
         },
         // A new track is an empty curve: zero everywhere.
         components(vec2(0, 2))},
    };
    for (const Case& c : cases)
        runCase(c);
}

TEST(ExportFuncBlocks, ExpressionsRunTheirByteCode)
{
    const Case cases[] = {
        {"two floats",
         [](Scene& s)
         {
             auto& expression = s.add(BlockFuncExpression::create());
             expression.setExpression(std::string("a * b + 1"));
             s.link(s.constant(2.0f), 0, expression, 1);
             s.link(s.constant(3.0f), 0, expression, 2);
             s.readAtBirth<float>(expression, BlockFuncExpression::kOutputConnector);
             return Probe{&expression};
         },
         components(7.0f)},
        {"a vector and a float, giving a vector",
         [](Scene& s)
         {
             auto& expression = s.add(BlockFuncExpression::create());
             expression.setInputType(0, CT_Vec3);
             expression.setExpression(std::string("a * b"));
             EXPECT_EQ(expression.getOutputType(), CT_Vec3);
             s.link(s.constant(vec3(1, -2, 3)), 0, expression, 1);
             s.link(s.constant(2.0f), 0, expression, 2);
             s.readAtBirth<vec3>(expression, BlockFuncExpression::kOutputConnector);
             return Probe{&expression};
         },
         components(vec3(2, -4, 6))},
        {"no inputs but the time step",
         [](Scene& s)
         {
             auto& expression = s.add(BlockFuncExpression::create());
             expression.setNumInputs(0u);
             expression.setExpression(std::string("dt * 0 + 4"));
             s.readAtBirth<float>(expression, BlockFuncExpression::kOutputConnector);
             return Probe{&expression};
         },
         components(4.0f)},
    };
    for (const Case& c : cases)
        runCase(c);
}

// A frame of a 3D transform: the result position and the result rotation.
struct Frame
{
    vec3 position;
    quat rotation;
};

// The operation of a transform that delivers a result output: the last of its kind, or the
// pass-through (operation 0 for the position, 1 for the rotation).
Probe resultProbe(const BlockFuncTransform3& block, BlockFuncTransform3::EnumOperType type)
{
    for (unsigned int i = block.getNumOperations(); i-- > 0;)
        if (block.getOperationType(i) == type)
            return Probe{&block, BlockFuncTransform3::CI_OperationInputsBegin + i};
    return Probe{&block, type == BlockFuncTransform3::OT_Shift ? 0u : 1u};
}

TEST(ExportFuncBlocks, Transform3CarriesItsFrameThroughItsOperations)
{
    using T3 = BlockFuncTransform3;
    const quat quarterZ(kSqrtHalf, 0, 0, kSqrtHalf);  // 90 degrees about z
    struct TransformCase
    {
        const char* name;
        std::function<void(T3&, Scene&)> setup;
        Frame expected;
    };
    const TransformCase cases[] = {
        {"one rotation: the position passes",
         [&](T3& t, Scene&)
         {
             t.setStartPosition(vec3(1, 2, 3));
             t.setRotation(0, quarterZ);
         },
         {vec3(1, 2, 3), quarterZ}},
        {"a shift along a turned frame",
         [&](T3& t, Scene&)
         {
             t.setStartPosition(vec3(1, 0, 0));
             t.setNumOperations(2u);  // rotation, shift
             t.setRotation(0, quarterZ);
             t.setShift(1, vec3(1, 0, 0));
         },
         {vec3(1, 1, 0), quarterZ}},
        {"only shifts: the rotation passes, the shifts add up",
         [&](T3& t, Scene&)
         {
             t.setStartRotation(quarterZ);
             t.setNumOperations(2u);
             t.setOperationType(0, T3::OT_Shift);
             t.setShift(0, vec3(2, 0, 0));
             t.setShift(1, vec3(0, 1, 0));
         },
         {vec3(-1, 2, 0), quarterZ}},
        {"external start and shift, two rotations",
         [&](T3& t, Scene& s)
         {
             t.setStartPositionExternal(true);
             s.link(s.constant(vec3(0, 0, 5)), 0, t, T3::CI_StartPosition);
             t.setNumOperations(3u);  // rotation, shift, rotation
             t.setRotation(0, quarterZ);
             t.setShiftExternal(1, true);
             s.link(s.constant(vec3(0, 3, 0)), 0, t, T3::CI_OperationInputsBegin + 1);
             t.setRotation(2, quarterZ);
         },
         {vec3(-3, 0, 5), quarterZ * quarterZ}},
    };
    for (const TransformCase& c : cases)
    {
        for (const auto type : {T3::OT_Shift, T3::OT_Rotation})
        {
            const bool position = type == T3::OT_Shift;
            const std::string name = std::string(c.name) + (position ? ", position" : ", rotation");
            runCase({name.c_str(),
                     [&](Scene& s)
                     {
                         auto& transform = s.add(T3::create());
                         c.setup(transform, s);
                         if (position)
                             s.readAtBirth<vec3>(transform, T3::CI_ResultPosition);
                         else
                             s.readAtBirth<quat>(transform, T3::CI_ResultRotation);
                         return resultProbe(transform, type);
                     },
                     position ? components(c.expected.position) : components(c.expected.rotation)});
        }
    }
}

}  // namespace
