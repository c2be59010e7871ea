#include "ps_functions_effect.h"

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <gtest/gtest.h>

#include "expression/expr_executor.h"
#include "expression/expr_parser.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_system.h"
#include "test_support/ps_constructor_test_writer.h"
#include "ps_func_test_bytes.h"
#include "test_support/ps_test_effect_writer.h"

namespace PsTest
{

namespace
{

using glm::vec2;
using glm::vec3;

std::vector<unsigned char> compile(const char* text, std::vector<Expr::InputDesc> inputs)
{
    inputs.push_back({"dt", Expr::VT_Float});
    Expr::Parser parser(text, inputs.data(), static_cast<unsigned>(inputs.size()));
    EXPECT_TRUE(parser.isOk()) << text << ": " << parser.getErrorMessage();
    return std::vector<unsigned char>(parser.getOutputBuffer(),
                                      parser.getOutputBuffer() + parser.getOutputBufferSize());
}

uint8_t expression(EmitterWriter& e, const std::vector<unsigned char>& code, std::vector<In> inputs)
{
    return e.op(Ps::OF_FuncExpression,
                [code, inputs](Sl::Saver& s)
                {
                    const uint32_t size = static_cast<uint32_t>(code.size());
                    writeU32(s, "expr_data_size", size);
                    s.writeBinary("expr_data", code.data(), size);
                    writeU32(s, "expr_pool_size",
                             Expr::Executor::computePoolSizeNoObj(code.data(), size));
                    writeU32(s, "num_inputs", static_cast<uint32_t>(inputs.size()));
                    for (const In& in : inputs)
                        writeIn(s, "input", in);
                });
}

uint8_t noise(EmitterWriter& e, In input, uint8_t type, float smoothness, const Ext& scale,
              vec3 low, vec3 high, vec3 animation, bool additive)
{
    return e.op(Ps::OF_FuncNoise3,
                [=](Sl::Saver& s)
                {
                    writeIn(s, "input", input);
                    writeExt(s, "smoothness", smoothness);
                    writeU8(s, "type", type);
                    writeExt(s, "range_scale", scale);
                    writeValue(s, "range_low", low);
                    writeValue(s, "range_high", high);
                    writeValue(s, "animation", animation);
                    writeBool(s, "additive", additive);
                });
}

uint8_t curveFloat(EmitterWriter& e, In input, const PsFuncTest::CurveData& curve)
{
    return e.op(Ps::OF_FuncCurvesFloat,
                [input, curve](Sl::Saver& s)
                {
                    writeIn(s, "input", input);
                    PsFuncTest::writeCurve(s, curve);
                });
}

}  // namespace

std::vector<uint8_t> functionsEffect(uint32_t seed)
{
    EffectWriter effect;
    effect.fps(60.0f).fixedSeed(seed).renderCalls(16);
    effect.material(Ps::MAT_Add);
    effect.texture("spark.png");
    effect.renderStyle(0, {0});
    effect.mesh(160, Ps::MF_Quads, false, true);

    EmitterWriter& e = effect.emitter();
    e.generatorPeriodic(Ext(90.0f), 0.0f, 2);
    const uint8_t life = e.parameterLifetime();

    // Birth: a place in a painted area (two cells of weights 1 and 3, one empty) and a phase.
    const uint8_t pick = e.op(Ps::OF_FuncRandom,
                              [](Sl::Saver& s)
                              {
                                  writeExt(s, "min", 0.0f);
                                  writeExt(s, "max", 1.0f);
                              });
    const uint8_t area = e.op(Ps::OF_FuncArea,
                              [pick](Sl::Saver& s)
                              {
                                  writeIn(s, "input", In{pick, 0});
                                  PsFuncTest::writeArea(s, {-4, -2, 8, 4, 3, 1, {1, 0, 3}});
                              });
    const uint8_t start = e.parameter(In{area, 0}, Ps::VT_Vec2);
    const uint8_t phasePick = e.op(Ps::OF_FuncRandom,
                                   [](Sl::Saver& s)
                                   {
                                       writeExt(s, "min", -1.0f);
                                       writeExt(s, "max", 1.0f);
                                   });
    const uint8_t phase = e.parameter(In{phasePick, 0}, Ps::VT_Float);
    const uint8_t drift = e.parameter(Ext(vec3(0.0f)), Ps::VT_Vec3);
    const uint8_t heading = e.parameter(Ext(vec3(0.0f)), Ps::VT_Vec3);

    // Each frame: age through a curve to a share of a path; a swirl of three curves; noise
    // along the path (linear) and around the birth place (cubic, additive); an expression
    // puts them together into the position.
    const uint8_t along = curveFloat(
        e, In{life, 0}, {0.0f, 1.5f, false, false, {{0.0f, 1.5f, {0.0f, 0.2f, 0.7f, 1.0f}}}});
    const uint8_t path =
        e.op(Ps::OF_FuncPathVec3,
             [along](Sl::Saver& s)
             {
                 writeIn(s, "input", In{along, 0});
                 PsFuncTest::writePath<vec3>(
                     s,
                     {{0.0f, 0.5f, {vec3(0, 0, 0), vec3(1, 2, 0), vec3(2, 3, 1)}},
                      {0.5f, 1.0f, {vec3(2, 3, 1), vec3(4, 3, 2), vec3(5, 1, 2), vec3(6, 0, 0)}}},
                     12.0f);
             });
    const uint8_t swirl = e.op(
        Ps::OF_FuncCurvesVec3,
        [life](Sl::Saver& s)
        {
            writeIn(s, "input", In{life, 0});
            PsFuncTest::writeCurve(s,
                                   {0.0f, 0.4f, false, true, {{0.0f, 0.4f, {-1.0f, 1.0f, -1.0f}}}});
            PsFuncTest::writeCurve(
                s, {0.0f,
                    0.3f,
                    true,
                    true,
                    {{0.0f, 0.1f, {1.0f, 0.0f}}, {0.1f, 0.3f, {0.0f, -1.0f, 1.0f}}}});
            PsFuncTest::writeCurve(s, {0.2f, 1.0f, false, false, {{0.2f, 1.0f, {0.0f, 2.0f}}}});
        });
    const uint8_t birth = e.op(Ps::OF_FuncConv2to3,
                               [start, phase](Sl::Saver& s)
                               {
                                   writeIn(s, "input", In{start, 0});
                                   writeExt(s, "z", In{phase, 0});
                               });
    const uint8_t linear = noise(e, In{path, 0}, 0, 3.5f, Ext(1.5f), vec3(-1.0f), vec3(1.0f),
                                 vec3(0.7f, -0.3f, 0.2f), false);
    const uint8_t cubic =
        noise(e, In{birth, 0}, 1, 5.0f, Ext(In{phase, 0}), vec3(-1.0f, -0.5f, 0.0f),
              vec3(1.0f, 0.5f, 1.0f), vec3(0.0f, 0.4f, 0.9f), true);
    const auto placeCode =
        compile("p + n * 0.5 + (m - b) * 0.3 + c * 0.25 + norm(d + vec3(0.001, 0, 0)) * (t % 0.35)",
                {{"p", Expr::VT_Vec3},
                 {"d", Expr::VT_Vec3},
                 {"n", Expr::VT_Vec3},
                 {"m", Expr::VT_Vec3},
                 {"b", Expr::VT_Vec3},
                 {"c", Expr::VT_Vec3},
                 {"t", Expr::VT_Float}});
    const uint8_t place = expression(e, placeCode,
                                     {In{path, 0}, In{path, 1}, In{linear, 0}, In{cubic, 0},
                                      In{birth, 0}, In{swirl, 0}, In{life, 0}});
    const uint8_t moveTo = e.parameterPositionUpdater(In{place, 0});
    const uint8_t keepDrift = e.parameterUpdater(Ps::VT_Vec3, drift, In{cubic, 0});
    const uint8_t keepHeading = e.parameterUpdater(Ps::VT_Vec3, heading, In{path, 1});
    e.terminatorLess(In{life, 0}, Ext(1.5f));

    // Drawing: size by a curve of the age, colour by linear noise of the kept drift, the
    // angle by an expression.
    const uint8_t size = curveFloat(
        e, In{life, 0}, {0.0f, 1.5f, false, false, {{0.0f, 1.5f, {0.2f, 1.0f, 0.6f, 0.1f}}}});
    const uint8_t colour =
        noise(e, In{drift, 0}, 0, 2.0f, Ext(1.0f), vec3(0.0f), vec3(1.0f), vec3(0.0f), false);
    const auto angleCode =
        compile("x(q) * 90 + t * 45 + length(h)",
                {{"q", Expr::VT_Vec3}, {"t", Expr::VT_Float}, {"h", Expr::VT_Vec3}});
    const uint8_t angle = expression(e, angleCode, {In{drift, 0}, In{life, 0}, In{heading, 0}});
    QuadsFields quads;
    quads.size = Ext(In{size, 0});
    quads.color = Ext(In{colour, 0});
    quads.facedAngle = Ext(In{angle, 0});
    quads.alpha = Ext(0.75f);
    constructorQuads(e, quads);

    e.initBoth({pick, area, start, phasePick, phase, drift, heading});
    e.updateChain(
        {life, along, path, swirl, birth, linear, cubic, place, moveTo, keepDrift, keepHeading});
    e.constructChain({size, colour, angle});
    e.maxParticles(160).sorting(2);
    return effect.bytes();
}

}  // namespace PsTest
