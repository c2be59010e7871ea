// Writes the samples project: the project file, the effects an artist starts from and the
// textures they draw with. Every effect is built through the model as the editor builds it (the
// emitter's guide first, blocks and links where the guide has no form for them), compiled to
// check that it has no error, and saved as an effect file of the project. The textures are
// drawn here, pixel by pixel, and written as PNG files.
//
//   samples_gen <output folder>
//
// writes <output folder>/Samples.sxproj, its "effects" and "textures" folders and what they
// hold. Files of the same names are replaced; nothing else in the folder is touched.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <zlib.h>

#include "particle_layout_model/plm_area.h"
#include "particle_layout_model/plm_block_construct_quads.h"
#include "particle_layout_model/plm_block_construct_strip.h"
#include "particle_layout_model/plm_block_func_area.h"
#include "particle_layout_model/plm_block_func_curves.h"
#include "particle_layout_model/plm_block_func_path.h"
#include "particle_layout_model/plm_block_gen_periodic.h"
#include "particle_layout_model/plm_block_param_emitter.h"
#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_generation.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_rotation.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_guide_value_kinds.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_project_settings.h"
#include "particle_layout_model/plm_system.h"
#include "plot/path.h"
#include "plot/plot.h"

namespace
{

namespace bfs = boost::filesystem;
using namespace Plm;
using Eg::MultiValue;
using Eg::Value;
using Type = Value::Type;

// A step that the model refused: the generator stops with this message.
struct Refused : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

void require(bool ok, const std::string& what)
{
    if (!ok)
        throw Refused(what);
}

// ---------------------------------------------------------------------------------------------
// Textures: square RGBA images, white (the particle's colour tints them) with the shape in the
// alpha channel, or grey for smoke.

struct Image
{
    unsigned int size = 0;
    std::vector<uint8_t> rgba;

    explicit Image(unsigned int side) : size(side), rgba(side * side * 4, 0) {}
    void set(unsigned int x, unsigned int y, float r, float g, float b, float a)
    {
        uint8_t* p = &rgba[(y * size + x) * 4];
        const float values[4] = {r, g, b, a};
        for (int i = 0; i < 4; ++i)
            p[i] = static_cast<uint8_t>(
                std::lround(std::min(1.0f, std::max(0.0f, values[i])) * 255.0f));
    }
};

void appendBigEndian(std::vector<uint8_t>& out, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<uint8_t>(value >> shift));
}

void appendChunk(std::vector<uint8_t>& out, const char* type, const std::vector<uint8_t>& data)
{
    appendBigEndian(out, static_cast<uint32_t>(data.size()));
    const size_t start = out.size();
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), data.begin(), data.end());
    const uLong crc = crc32(0L, out.data() + start, static_cast<uInt>(out.size() - start));
    appendBigEndian(out, static_cast<uint32_t>(crc));
}

// An 8-bit RGBA PNG: each row behind filter byte 0, the whole deflated by zlib.
void writePng(const bfs::path& file, const Image& image)
{
    std::vector<uint8_t> raw;
    raw.reserve(image.size * (image.size * 4 + 1));
    for (unsigned int y = 0; y < image.size; ++y)
    {
        raw.push_back(0);
        const auto row = image.rgba.begin() + y * image.size * 4;
        raw.insert(raw.end(), row, row + image.size * 4);
    }
    uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
    std::vector<uint8_t> packed(packedSize);
    require(compress2(packed.data(), &packedSize, raw.data(), static_cast<uLong>(raw.size()),
                      Z_BEST_COMPRESSION) == Z_OK,
            "can't deflate the image " + file.string());
    packed.resize(packedSize);

    std::vector<uint8_t> header;
    appendBigEndian(header, image.size);
    appendBigEndian(header, image.size);
    header.insert(header.end(), {8, 6, 0, 0, 0});  // depth 8, RGBA, deflate, no interlace

    std::vector<uint8_t> out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    appendChunk(out, "IHDR", header);
    appendChunk(out, "IDAT", packed);
    appendChunk(out, "IEND", {});
    std::ofstream stream(file.string(), std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(out.data()),
                 static_cast<std::streamsize>(out.size()));
    require(static_cast<bool>(stream), "can't write " + file.string());
}

// A hash of the lattice point to [0, 1), for value noise that is the same on every machine.
float latticeValue(int x, int y, uint32_t seed)
{
    uint32_t h = static_cast<uint32_t>(x) * 374761393u + static_cast<uint32_t>(y) * 668265263u +
                 seed * 2246822519u;
    h = (h ^ (h >> 13)) * 1274126177u;
    h ^= h >> 16;
    return static_cast<float>(h & 0xffffu) / 65536.0f;
}

float smoothNoise(float x, float y, uint32_t seed)
{
    const int x0 = static_cast<int>(std::floor(x));
    const int y0 = static_cast<int>(std::floor(y));
    float fx = x - static_cast<float>(x0);
    float fy = y - static_cast<float>(y0);
    fx = fx * fx * (3.0f - 2.0f * fx);
    fy = fy * fy * (3.0f - 2.0f * fy);
    const float a = latticeValue(x0, y0, seed) * (1.0f - fx) + latticeValue(x0 + 1, y0, seed) * fx;
    const float b =
        latticeValue(x0, y0 + 1, seed) * (1.0f - fx) + latticeValue(x0 + 1, y0 + 1, seed) * fx;
    return a * (1.0f - fy) + b * fy;
}

// Calls `shade` with each pixel's centre in [-1, 1] on both axes.
Image drawImage(unsigned int side,
                const std::function<std::array<float, 4>(float x, float y)>& shade)
{
    Image image(side);
    for (unsigned int y = 0; y < side; ++y)
        for (unsigned int x = 0; x < side; ++x)
        {
            const float u = (static_cast<float>(x) + 0.5f) / static_cast<float>(side) * 2.0f - 1.0f;
            const float v = (static_cast<float>(y) + 0.5f) / static_cast<float>(side) * 2.0f - 1.0f;
            const std::array<float, 4> c = shade(u, v);
            image.set(x, y, c[0], c[1], c[2], c[3]);
        }
    return image;
}

float clamp01(float v) { return std::min(1.0f, std::max(0.0f, v)); }

// The textures by file name.
std::vector<std::pair<std::string, Image>> drawTextures()
{
    std::vector<std::pair<std::string, Image>> textures;
    // A round glow that fades smoothly to nothing at the edge.
    textures.emplace_back(
        "glow.png",
        drawImage(64,
                  [](float x, float y)
                  {
                      const float r = std::sqrt(x * x + y * y);
                      const float a = clamp01(1.0f - r);
                      return std::array<float, 4>{1.0f, 1.0f, 1.0f, a * a * (3.0f - 2.0f * a)};
                  }));
    // A puff of smoke: a soft disc broken up by two octaves of value noise.
    textures.emplace_back(
        "smoke.png", drawImage(128,
                               [](float x, float y)
                               {
                                   const float r = std::sqrt(x * x + y * y);
                                   const float n =
                                       0.65f * smoothNoise(x * 4.0f + 8.0f, y * 4.0f + 8.0f, 7u) +
                                       0.35f * smoothNoise(x * 9.0f + 3.0f, y * 9.0f + 3.0f, 11u);
                                   const float edge = clamp01(1.0f - r * (0.75f + 0.5f * n));
                                   const float a = clamp01(edge * edge * (0.55f + 0.9f * n));
                                   const float grey = 0.75f + 0.25f * n;
                                   return std::array<float, 4>{grey, grey, grey, a};
                               }));
    // A four-pointed star with a bright core, for sparks and glitter.
    textures.emplace_back(
        "star.png",
        drawImage(
            64,
            [](float x, float y)
            {
                const float r = std::sqrt(x * x + y * y);
                const float core = std::exp(-r * r * 40.0f);
                const float rays = std::exp(-std::fabs(x) * 28.0f) * clamp01(1.0f - std::fabs(y)) +
                                   std::exp(-std::fabs(y) * 28.0f) * clamp01(1.0f - std::fabs(x));
                const float halo = 0.35f * clamp01(1.0f - r) * clamp01(1.0f - r);
                return std::array<float, 4>{1.0f, 1.0f, 1.0f, clamp01(core + 0.8f * rays + halo)};
            }));
    // A ribbon: the strip runs along x and spans y; a bright core line in a soft glow, the
    // same all along.
    textures.emplace_back(
        "ribbon.png",
        drawImage(
            64,
            [](float, float y)
            {
                const float core = std::exp(-y * y * 12.0f);
                const float glow = clamp01(1.0f - std::fabs(y));
                return std::array<float, 4>{1.0f, 1.0f, 1.0f, clamp01(0.7f * core + 0.6f * glow)};
            }));
    // A small hard dot with a thin halo, for dust motes.
    textures.emplace_back("dot.png",
                          drawImage(32,
                                    [](float x, float y)
                                    {
                                        const float r = std::sqrt(x * x + y * y);
                                        const float a =
                                            r < 0.45f ? 1.0f : clamp01((1.0f - r) / 0.55f) * 0.4f;
                                        return std::array<float, 4>{1.0f, 1.0f, 1.0f, a};
                                    }));
    return textures;
}

// ---------------------------------------------------------------------------------------------
// Setting the guide's values. Each helper checks that the model took the change.

const char* typeName(Type type) { return Value::typeName(type); }

void toType(Value& value, Type type)
{
    if (value.type() != type)
        require(value.changeType(type),
                std::string("a value can't be of the kind ") + typeName(type));
}

void setFixed(Value& value, const std::vector<float>& numbers)
{
    toType(value, Type::Fixed);
    for (unsigned int i = 0; i < numbers.size(); ++i)
    {
        if (auto* prop = dynamic_cast<Value::FixedProp*>(&value.impl()))
            prop->changeValue(i, numbers[i]);
        else if (auto* fixed = dynamic_cast<Value::Fixed*>(&value.impl()))
            fixed->changeValue(i, numbers[i]);
        else
            throw Refused("a fixed value has no numbers to set");
    }
}

void setFixed(MultiValue& value, const std::vector<float>& numbers)
{
    setFixed(value.rowValue(0), numbers);
}

void setRandom(Value& value, const std::vector<std::pair<float, float>>& ranges)
{
    toType(value, Type::Random);
    auto& random = dynamic_cast<Value::Random&>(value.impl());
    for (unsigned int i = 0; i < ranges.size(); ++i)
    {
        random.changeRandomMin(i, ranges[i].first);
        random.changeRandomMax(i, ranges[i].second);
    }
}

void setRandom(MultiValue& value, const std::vector<std::pair<float, float>>& ranges)
{
    setRandom(value.rowValue(0), ranges);
}

// Curves of a graph kind: one per component, each through (time, value) points joined by
// straight segments, repeating after their last key when `looped`. The curves live in the
// kind's curves block, which the guide reads back.
void setCurves(Value& value, Type type,
               const std::vector<std::vector<std::pair<float, float>>>& curves, bool looped = false)
{
    toType(value, type);
    auto& graph = dynamic_cast<Value::GraphBase&>(value.impl());
    auto* block =
        dynamic_cast<BlockFuncCurves*>(value.guide().emitter().findBlockById(graph.blockGraphId()));
    require(block != nullptr, "a graph value has no curves block");
    require(block->getNumTracks() == curves.size(), "a graph value has another number of curves");
    for (unsigned int i = 0; i < curves.size(); ++i)
    {
        Plot plot = Eg::makeLinearCurve(curves[i]);
        plot.setLoopedRight(looped);
        block->setTrack(i, plot);
    }
}

void setCurves(MultiValue& value, Type type,
               const std::vector<std::vector<std::pair<float, float>>>& curves, bool looped = false)
{
    setCurves(value.rowValue(0), type, curves, looped);
}

Eg::TerminationMaxLife& maxLife(EmitterGuide& guide)
{
    return dynamic_cast<Eg::TerminationMaxLife&>(guide.termination().terminator(0));
}

MultiValue& rate(EmitterGuide& guide) { return guide.generation().impl().value(); }

MultiValue& startPosition(EmitterGuide& guide) { return guide.positionStart().point().value(); }

Eg::PositionChangeForces& forces(EmitterGuide& guide)
{
    if (guide.positionChange().type() != Eg::PositionChange::T_Forces)
        require(guide.positionChange().changeType(Eg::PositionChange::T_Forces),
                "the particles can't move under forces");
    return dynamic_cast<Eg::PositionChangeForces&>(guide.positionChange().impl());
}

Eg::VelocityStart& velocity(EmitterGuide& guide)
{
    if (auto* steady = dynamic_cast<Eg::PositionChangeSteady*>(&guide.positionChange().impl()))
        return steady->velocity();
    return forces(guide).velocity();
}

// A start velocity of a random direction and a length in a range.
void sphereVelocity(EmitterGuide& guide, float minSpeed, float maxSpeed)
{
    Eg::VelocityStart& start = velocity(guide);
    if (start.type() != Eg::VelocityStart::T_Sphere)
        require(start.changeType(Eg::VelocityStart::T_Sphere), "no sphere of velocities");
    auto& sphere = dynamic_cast<Eg::Sphere&>(start.point().value().rowValue(0).impl());
    setRandom(sphere.propsRadius(), {{minSpeed, maxSpeed}});
}

// A start velocity of its own kind, given as a value of three components.
Value& fixedVelocity(EmitterGuide& guide)
{
    Eg::VelocityStart& start = velocity(guide);
    if (start.type() != Eg::VelocityStart::T_Fixed)
        require(start.changeType(Eg::VelocityStart::T_Fixed), "no fixed velocity");
    return start.point().value().rowValue(0);
}

// The value of the emitter's force of a direction: the one a new forces section comes with,
// or a new one.
Value& directionForce(EmitterGuide& guide)
{
    Eg::PositionChangeForces& f = forces(guide);
    unsigned int index = 0;
    while (index < f.numForces() && f.forceType(index) != Eg::PositionChangeForces::FT_Direction)
        ++index;
    if (index == f.numForces())
        f.addForce(Eg::PositionChangeForces::FT_Direction);
    return dynamic_cast<Eg::Point&>(f.force(index)).value().rowValue(0);
}

Eg::NoiseFromPosition& addNoiseForce(EmitterGuide& guide, float smoothness, float strength)
{
    Eg::PositionChangeForces& f = forces(guide);
    f.addForce(Eg::PositionChangeForces::FT_Noise);
    auto& noise = dynamic_cast<Eg::NoiseFromPosition&>(f.force(f.numForces() - 1));
    noise.setSmoothness(smoothness);
    setFixed(noise.scale(), {strength});
    return noise;
}

BlockConstructQuads& quads(EmitterGuide& guide)
{
    auto* block =
        dynamic_cast<BlockConstructQuads*>(guide.emitter().findBlockById(guide.blockConstructId()));
    require(block != nullptr, "the emitter has no quads");
    return *block;
}

void look(EmitterGuide& guide, const std::string& texture, Ps::EnumMaterial material)
{
    quads(guide).setTexture(texture);
    quads(guide).setMaterial(material);
}

// The size over the particle's life: the start size times a curve.
void sizeOverLife(EmitterGuide& guide, float start, std::vector<std::pair<float, float>> curve)
{
    setFixed(guide.size().start(), {start});
    require(guide.size().getChangeType() == Eg::Size::CT_Multiplier ||
                guide.size().changeChangeType(Eg::Size::CT_Multiplier),
            "the size can't change");
    auto& change = dynamic_cast<Eg::SizeChangeGraph&>(guide.size().change());
    setCurves(change.value(), Type::OverParticleLife, {std::move(curve)});
}

void spin(EmitterGuide& guide, float minSpeed, float maxSpeed)
{
    Eg::RotationControlled* controlled = guide.rotation().controlled();
    require(controlled != nullptr, "the rotation isn't controlled");
    setRandom(controlled->startAngle(), {{0.0f, 360.0f}});
    require(controlled->getChangeType() == Eg::RotationControlled::CT_Steady ||
                controlled->changeChangeType(Eg::RotationControlled::CT_Steady),
            "the rotation can't turn");
    auto& steady = dynamic_cast<Eg::RotationChangeSteady&>(controlled->change());
    setRandom(steady.speed(), {{minSpeed, maxSpeed}});
}

// A new emitter of the effect, built by its guide, room for `maxParticles` particles; `shape`
// fills the guide's form.
Emitter& addEmitter(System& system, const std::string& name, unsigned int maxParticles,
                    const std::function<void(EmitterGuide&)>& shape)
{
    Emitter& emitter = system.addEmitter(Emitter::create(name));
    emitter.setMaxNumParticles(maxParticles);
    EmitterGuide& guide = *emitter.guide();
    {
        auto scope = guide.scopedChange();
        shape(guide);
    }
    // The curves and paths were written into their blocks; the form reads them back.
    guide.updateFromEmitter();
    for (Eg::Base* section : guide.sections())
        require(section->isValid(), "a section of the emitter " + name + " isn't valid");
    return emitter;
}

std::unique_ptr<System> newSystem(const std::string& name, unsigned int seed)
{
    auto system = std::make_unique<System>();
    system->setName(name);
    system->setFps(60.0f);
    system->setSeedType(Ps::SST_Fixed);
    system->setFixedSeed(seed);
    return system;
}

using Curve = std::vector<std::pair<float, float>>;

// ---------------------------------------------------------------------------------------------
// The effects.

// Flames: glowing particles rise from a bed of embers, pushed up and shaken by turbulence, going
// from yellow to a dark red as they shrink and fade.
std::unique_ptr<System> makeFire()
{
    auto system = newSystem("Fire", 1001u);
    addEmitter(*system, "Flames", 160u,
               [](EmitterGuide& g)
               {
                   setFixed(rate(g), {120.0f});
                   setRandom(maxLife(g).value(), {{0.7f, 1.2f}});
                   setRandom(startPosition(g), {{-28.0f, 28.0f}, {-100.0f, -90.0f}, {0.0f, 0.0f}});
                   setRandom(fixedVelocity(g), {{-15.0f, 15.0f}, {60.0f, 110.0f}, {0.0f, 0.0f}});
                   setFixed(directionForce(g), {0.0f, 160.0f, 0.0f});
                   addNoiseForce(g, 30.0f, 120.0f);
                   sizeOverLife(g, 44.0f, {{0.0f, 0.9f}, {0.2f, 1.0f}, {1.0f, 0.3f}});
                   setCurves(g.color().value(), Type::OverParticleLife,
                             {{{0.0f, 1.0f}, {0.5f, 0.95f}, {1.0f, 0.5f}},
                              {{0.0f, 0.75f}, {0.35f, 0.35f}, {1.0f, 0.05f}},
                              {{0.0f, 0.3f}, {0.25f, 0.05f}, {1.0f, 0.02f}}});
                   setCurves(g.transparency().value(), Type::OverParticleLife,
                             {{{0.0f, 0.0f}, {0.15f, 0.45f}, {0.6f, 0.3f}, {1.0f, 0.0f}}});
                   spin(g, -90.0f, 90.0f);
                   look(g, "glow.png", Ps::MAT_Add);
               });
    return system;
}

// Smoke: grey puffs drift up and apart, turn slowly, grow and thin out.
std::unique_ptr<System> makeSmoke()
{
    auto system = newSystem("Smoke", 1002u);
    system->setPresimTime(2.0f);
    addEmitter(*system, "Puffs", 60u,
               [](EmitterGuide& g)
               {
                   setFixed(rate(g), {14.0f});
                   setRandom(maxLife(g).value(), {{2.5f, 3.5f}});
                   setRandom(startPosition(g), {{-12.0f, 12.0f}, {-95.0f, -85.0f}, {0.0f, 0.0f}});
                   sphereVelocity(g, 5.0f, 15.0f);
                   setFixed(directionForce(g), {10.0f, 45.0f, 0.0f});
                   addNoiseForce(g, 80.0f, 25.0f);
                   sizeOverLife(g, 50.0f, {{0.0f, 0.5f}, {1.0f, 2.6f}});
                   setFixed(g.color().value(), {0.55f, 0.55f, 0.58f});
                   setCurves(g.transparency().value(), Type::OverParticleLife,
                             {{{0.0f, 0.0f}, {0.2f, 0.55f}, {1.0f, 0.0f}}});
                   spin(g, -25.0f, 25.0f);
                   look(g, "smoke.png", Ps::MAT_Normal);
               });
    return system;
}

// Sparks: a fountain of hot streaks thrown up and out, stretched along their flight and pulled
// down by gravity, cooling from white to orange.
std::unique_ptr<System> makeSparks()
{
    auto system = newSystem("Sparks", 1003u);
    addEmitter(*system, "Sparks", 160u,
               [](EmitterGuide& g)
               {
                   setFixed(rate(g), {90.0f});
                   setRandom(maxLife(g).value(), {{0.9f, 1.5f}});
                   setFixed(startPosition(g), {0.0f, -50.0f, 0.0f});
                   setRandom(fixedVelocity(g), {{-90.0f, 90.0f}, {140.0f, 260.0f}, {0.0f, 0.0f}});
                   setFixed(directionForce(g), {0.0f, -320.0f, 0.0f});
                   require(g.rotation().changeType(Eg::Rotation::T_VelocityFaced),
                           "sparks can't face their velocity");
                   require(g.size().changeType(Eg::Size::T_Rect), "sparks can't be rectangles");
                   setFixed(g.size().start(), {18.0f, 5.0f});
                   setCurves(g.color().value(), Type::OverParticleLife,
                             {{{0.0f, 1.0f}, {1.0f, 1.0f}},
                              {{0.0f, 0.95f}, {0.5f, 0.6f}, {1.0f, 0.3f}},
                              {{0.0f, 0.8f}, {0.3f, 0.2f}, {1.0f, 0.05f}}});
                   setCurves(g.transparency().value(), Type::OverParticleLife,
                             {{{0.0f, 1.0f}, {0.7f, 0.9f}, {1.0f, 0.0f}}});
                   look(g, "glow.png", Ps::MAT_Add);
               });
    return system;
}

// Replaces the guide's quads by a strip: the size, colour and opacity that fed the quads feed
// the strip through the same inputs. The guide keeps generation, motion and life.
void makeStrip(Emitter& emitter, const std::string& texture, float texRepeat)
{
    EmitterGuide& guide = *emitter.guide();
    BlockConstructQuads& old = quads(guide);
    std::vector<std::pair<BlockConnector, uint32_t>> feeds;
    for (unsigned int i = 0; i < emitter.getNumOwnLinks(); ++i)
    {
        const BlockLink& link = emitter.getLink(i);
        const uint32_t input = link.input_.desc_.index_;
        if (link.input_.blockId == old.getId() && (input == 3 || input == 4 || input == 5))
            feeds.emplace_back(link.output_, link.input_.desc_.index_);
    }
    std::unique_ptr<BlockConstructStrip> strip = BlockConstructStrip::create();
    strip->setTexture(texture);
    strip->setMaterial(old.getMaterial());
    strip->setTexRepeatDist(texRepeat);
    require(feeds.size() == 3, "the quads aren't fed a size, a colour and an opacity");
    const boost::uuids::uuid oldId = old.getId();
    emitter.removeBlock(oldId);
    auto& added = static_cast<BlockConstructStrip&>(emitter.addBlock(std::move(strip)));
    added.setSizeExternal(true);
    added.setColorExternal(true);
    added.setAlphaExternal(true);
    for (const auto& feed : feeds)
        require(emitter.createLink(feed.first, added, feed.second),
                "the strip can't take the input " + std::to_string(feed.second));
}

// A ribbon: a strip through the particles in the order of their birth, thrown in a direction
// that turns with the emitter's time; the ribbon curls into a spiral and thins and fades at its
// old end.
std::unique_ptr<System> makeTrail()
{
    auto system = newSystem("Trail", 1004u);
    Emitter& emitter = addEmitter(
        *system, "Ribbon", 100u,
        [](EmitterGuide& g)
        {
            setFixed(rate(g), {60.0f});
            setFixed(maxLife(g).value(), {1.4f});
            // The direction of throw turns round once every two seconds, so the particles, born
            // at the emitter, lie on a spiral arm, which the strip joins back to the emitter.
            const auto turn = [](float phase)
            {
                Curve curve;
                for (int i = 0; i <= 48; ++i)
                {
                    const float t = 2.0f * static_cast<float>(i) / 48.0f;
                    curve.emplace_back(t, 75.0f * std::cos(3.14159265f * t + phase));
                }
                return curve;
            };
            setCurves(fixedVelocity(g), Type::OverEmitterTime,
                      {turn(0.0f), turn(-1.5707963f), {{0.0f, 0.0f}, {2.0f, 0.0f}}}, true);
            // Narrow and clear where it leaves the emitter, widest just behind, thin at its end.
            sizeOverLife(g, 48.0f, {{0.0f, 0.1f}, {0.12f, 1.0f}, {1.0f, 0.2f}});
            setCurves(g.color().value(), Type::OverParticleLife,
                      {{{0.0f, 0.4f}, {1.0f, 0.8f}},
                       {{0.0f, 0.9f}, {1.0f, 0.2f}},
                       {{0.0f, 1.0f}, {1.0f, 1.0f}}});
            setCurves(g.transparency().value(), Type::OverParticleLife,
                      {{{0.0f, 0.0f}, {0.08f, 1.0f}, {1.0f, 0.0f}}});
            look(g, "ribbon.png", Ps::MAT_Add);
        });
    makeStrip(emitter, "ribbon.png", 60.0f);
    return system;
}

// Fireworks: rockets climb, slow under gravity and, as each one ends, an attached emitter bursts
// into a shell of falling stars where it ended. Each rocket draws a colour at its birth (a custom
// value) and hands it to its burst through the burst's global parameter "Colour".
std::unique_ptr<System> makeFireworks()
{
    auto system = newSystem("Fireworks", 1005u);
    Emitter& burst =
        addEmitter(*system, "Burst", 100u,
                   [](EmitterGuide& g)
                   {
                       auto& generator = dynamic_cast<BlockGenPeriodic&>(
                           g.emitter().getBlockById(g.generation().impl().getGeneratorBlockId()));
                       generator.setFixedShotsEnabled(true);
                       generator.setFixedShots(1u);
                       generator.setBurst(90u);
                       setRandom(maxLife(g).value(), {{1.0f, 1.6f}});
                       sphereVelocity(g, 60.0f, 110.0f);
                       setFixed(directionForce(g), {0.0f, -90.0f, 0.0f});
                       setFixed(forces(g).airResistance(), {1.2f});
                       setFixed(g.size().start(), {14.0f});
                       Value& colour = g.color().value().rowValue(0);
                       toType(colour, Type::EmitterProperty);
                       auto& property = dynamic_cast<Value::EmitterProperty&>(colour.impl());
                       property.changeName("Colour");
                       for (unsigned int i = 0; i < 3; ++i)
                           property.changeValue(i, 1.0f);
                       setCurves(g.transparency().value(), Type::OverParticleLife,
                                 {{{0.0f, 1.0f}, {0.6f, 0.8f}, {1.0f, 0.0f}}});
                       look(g, "star.png", Ps::MAT_Add);
                   });
    burst.setStandalone(false);
    Emitter& rockets = addEmitter(
        *system, "Rockets", 8u,
        [&](EmitterGuide& g)
        {
            setFixed(rate(g), {1.6f});
            setRandom(maxLife(g).value(), {{0.9f, 1.2f}});
            setFixed(startPosition(g), {0.0f, -110.0f, 0.0f});
            setRandom(fixedVelocity(g), {{-50.0f, 50.0f}, {230.0f, 270.0f}, {0.0f, 0.0f}});
            setFixed(directionForce(g), {0.0f, -120.0f, 0.0f});
            setFixed(g.size().start(), {10.0f});
            Eg::CustomValue& colour = g.customValues().addValue();
            colour.setName("Colour");
            colour.changeDimensions(3);
            setRandom(colour.value(), {{0.25f, 1.0f}, {0.25f, 1.0f}, {0.25f, 1.0f}});
            require(g.color().value().rowValue(0).changeToCustomValueType(colour.id()),
                    "the rocket's colour can't be its custom value");
            look(g, "glow.png", Ps::MAT_Add);
            auto& attached =
                static_cast<BlockParamEmitter&>(g.emitter().addBlock(BlockParamEmitter::create()));
            attached.setEmitterId(boost::make_optional(boost::make_optional(burst.getId())));
            attached.setOnTerminate(true);
        });
    // The rocket's colour goes into the burst's "Colour", the one input of the attachment.
    BlockParamEmitter& attached = rockets.paramEmitterBlocks()[0];
    const boost::optional<BlockConnector> colour =
        rockets.guide()->customValues().value(0).getOutputConnector();
    require(colour && attached.getGlobParamNameByConnectorIndex(
                          attached.getParameterConnectorId(0)) == "Colour",
            "the burst has no colour to take");
    require(rockets.createLink(*colour, attached, attached.getParameterConnectorId(0)),
            "the rocket can't hand its colour to the burst");
    return system;
}

// Dust: motes hang in a wide box of air, wandering on a slow turbulence, fading in and out.
std::unique_ptr<System> makeDust()
{
    auto system = newSystem("Dust", 1006u);
    system->setPresimTime(4.0f);
    addEmitter(
        *system, "Motes", 200u,
        [](EmitterGuide& g)
        {
            setFixed(rate(g), {30.0f});
            setRandom(maxLife(g).value(), {{4.0f, 6.0f}});
            setRandom(startPosition(g), {{-120.0f, 120.0f}, {-120.0f, 120.0f}, {0.0f, 0.0f}});
            sphereVelocity(g, 0.0f, 4.0f);
            setFixed(directionForce(g), {0.0f, 3.0f, 0.0f});
            Eg::NoiseFromPosition& noise = addNoiseForce(g, 60.0f, 45.0f);
            noise.setAnimation(glm::vec3(0.0f, 0.0f, 0.15f));
            setFixed(forces(g).airResistance(), {0.8f});
            setRandom(g.size().start(), {{3.0f, 8.0f}});
            setFixed(g.color().value(), {1.0f, 0.9f, 0.7f});
            setCurves(g.transparency().value(), Type::OverParticleLife,
                      {{{0.0f, 0.0f}, {0.2f, 0.8f}, {0.8f, 0.8f}, {1.0f, 0.0f}}});
            look(g, "dot.png", Ps::MAT_Add);
        });
    return system;
}

// A path: wisps rise from a small disc along an S-shaped path drawn in the plane, reaching its
// end as their lives end, and change colour on the way.
std::unique_ptr<System> makePathFollow()
{
    auto system = newSystem("Path", 1007u);
    addEmitter(
        *system, "Wisps", 100u,
        [](EmitterGuide& g)
        {
            setFixed(rate(g), {40.0f});
            setRandom(maxLife(g).value(), {{1.8f, 2.2f}});
            setRandom(startPosition(g), {{-8.0f, 8.0f}, {-105.0f, -95.0f}, {0.0f, 0.0f}});
            require(g.positionChange().changeType(Eg::PositionChange::T_Path),
                    "the particles can't follow a path");
            auto& change = dynamic_cast<Eg::PositionChangePath&>(g.positionChange().impl());
            auto& point =
                dynamic_cast<Eg::PointFromPath&>(change.point().value().rowValue(0).impl());
            auto* block =
                dynamic_cast<BlockFuncPath*>(g.emitter().findBlockById(point.pathBlockId()));
            require(block != nullptr, "the path has no block");
            Path<glm::vec2> path;
            path.appendKeyBack(PathKey<glm::vec2>(false, glm::vec2(0.0f, 0.0f)));
            path.appendKeyBackWithSegment(
                PathKey<glm::vec2>(false, glm::vec2(0.0f, 100.0f)),
                PathSegBezier<glm::vec2>(glm::vec2(100.0f, 15.0f), glm::vec2(100.0f, 85.0f)));
            path.appendKeyBackWithSegment(
                PathKey<glm::vec2>(false, glm::vec2(0.0f, 200.0f)),
                PathSegBezier<glm::vec2>(glm::vec2(-100.0f, 115.0f), glm::vec2(-100.0f, 185.0f)));
            block->setPath(path);
            // A point of a path counts as a random point, which the guide keeps from the birth of
            // the particle; here it is read again in each frame, so that the particle walks the
            // path over its life.
            change.point().value().rowValue(0).changeStoredOnInit(false);
            sizeOverLife(g, 22.0f, {{0.0f, 0.4f}, {0.3f, 1.0f}, {1.0f, 0.6f}});
            setCurves(g.color().value(), Type::OverParticleLife,
                      {{{0.0f, 0.3f}, {0.5f, 0.5f}, {1.0f, 1.0f}},
                       {{0.0f, 1.0f}, {1.0f, 0.3f}},
                       {{0.0f, 0.8f}, {0.5f, 1.0f}, {1.0f, 0.9f}}});
            setCurves(g.transparency().value(), Type::OverParticleLife,
                      {{{0.0f, 0.0f}, {0.1f, 0.9f}, {0.8f, 0.7f}, {1.0f, 0.0f}}});
            look(g, "glow.png", Ps::MAT_Add);
        });
    return system;
}

// A painted area: glitter twinkles over a heart painted with a round brush; particles are born
// where the paint is.
std::unique_ptr<System> makePaintedArea()
{
    auto system = newSystem("Painted area", 1008u);
    addEmitter(*system, "Glitter", 200u,
               [](EmitterGuide& g)
               {
                   setFixed(rate(g), {120.0f});
                   setRandom(maxLife(g).value(), {{0.6f, 1.2f}});
                   toType(startPosition(g).rowValue(0), Type::Area);
                   auto& kind = dynamic_cast<Eg::Area&>(startPosition(g).rowValue(0).impl());
                   auto* block =
                       dynamic_cast<BlockFuncArea*>(g.emitter().findBlockById(kind.areaBlockId()));
                   require(block != nullptr, "the area has no block");
                   // The outline of a heart, 220 units wide, painted dab by dab.
                   ::Plm::Area area(-120, -120, 240, 240, nullptr);
                   uint32_t brushSize = 0;
                   const std::vector<uint8_t> brush =
                       ::Plm::Area::createBrush(4.0f, 9.0f, 1.0f, brushSize);
                   for (int i = 0; i < 720; ++i)
                   {
                       const float t = static_cast<float>(i) / 720.0f * 6.2831853f;
                       const float s = std::sin(t);
                       const float x = 16.0f * s * s * s;
                       const float y = 13.0f * std::cos(t) - 5.0f * std::cos(2.0f * t) -
                                       2.0f * std::cos(3.0f * t) - std::cos(4.0f * t);
                       const int cx = static_cast<int>(std::lround(x * 6.5f)) + 120;
                       const int cy = static_cast<int>(std::lround(y * 6.5f)) + 120 + 15;
                       area.drawBrush(brush, brushSize, cx - static_cast<int>(brushSize / 2),
                                      cy - static_cast<int>(brushSize / 2), false);
                   }
                   block->setArea(area);
                   sphereVelocity(g, 0.0f, 6.0f);
                   sizeOverLife(g, 14.0f, {{0.0f, 0.0f}, {0.3f, 1.0f}, {1.0f, 0.0f}});
                   setCurves(g.color().value(), Type::OverParticleLife,
                             {{{0.0f, 1.0f}, {1.0f, 1.0f}},
                              {{0.0f, 0.6f}, {1.0f, 0.2f}},
                              {{0.0f, 0.8f}, {1.0f, 0.5f}}});
                   spin(g, -180.0f, 180.0f);
                   look(g, "star.png", Ps::MAT_Add);
               });
    return system;
}

// An expression: the start position combines two rows, a random point of a sphere (a) and a
// radius (b), into a point of a ring: norm(a * vec3(1, 1, 0)) * b. The particles fly outward.
std::unique_ptr<System> makeExpressionRing()
{
    auto system = newSystem("Expression ring", 1009u);
    addEmitter(*system, "Ring", 160u,
               [](EmitterGuide& g)
               {
                   setFixed(rate(g), {90.0f});
                   setRandom(maxLife(g).value(), {{1.2f, 1.6f}});
                   MultiValue& position = startPosition(g);
                   toType(position.rowValue(0), Type::Sphere);
                   setFixed(dynamic_cast<Eg::Sphere&>(position.rowValue(0).impl()).propsRadius(),
                            {1.0f});
                   position.addRow(1);
                   setFixed(position.rowValue(1), {60.0f});
                   position.enableExpr(true);
                   position.changeExpression("norm(a * vec3(1, 1, 0)) * b");
                   require(position.expressionValid(), "the ring's expression doesn't parse");
                   sphereVelocity(g, 5.0f, 15.0f);
                   setCurves(g.color().value(), Type::OverParticleLife,
                             {{{0.0f, 0.3f}, {1.0f, 0.9f}},
                              {{0.0f, 0.7f}, {1.0f, 0.3f}},
                              {{0.0f, 1.0f}, {1.0f, 1.0f}}});
                   setCurves(g.transparency().value(), Type::OverParticleLife,
                             {{{0.0f, 0.0f}, {0.2f, 1.0f}, {1.0f, 0.0f}}});
                   setFixed(g.size().start(), {16.0f});
                   look(g, "glow.png", Ps::MAT_Add);
               });
    return system;
}

// Curves: the rate pulses over the emitter's time (a looped curve), and each particle runs
// through a rainbow, a swelling size and a fading opacity over its life, all drawn as curves.
std::unique_ptr<System> makeCurves()
{
    auto system = newSystem("Curves", 1010u);
    addEmitter(*system, "Rainbow", 200u,
               [](EmitterGuide& g)
               {
                   // Two pulses a second, repeated for as long as the emitter runs.
                   setCurves(rate(g), Type::OverEmitterTime,
                             {{{0.0f, 120.0f}, {0.25f, 10.0f}, {0.5f, 120.0f}}}, true);
                   setFixed(maxLife(g).value(), {1.5f});
                   sphereVelocity(g, 70.0f, 80.0f);
                   sizeOverLife(g, 20.0f, {{0.0f, 0.3f}, {0.5f, 1.2f}, {1.0f, 0.6f}});
                   setCurves(
                       g.color().value(), Type::OverParticleLife,
                       {{{0.0f, 1.0f}, {0.33f, 1.0f}, {0.5f, 0.0f}, {0.83f, 0.3f}, {1.0f, 1.0f}},
                        {{0.0f, 0.0f}, {0.17f, 0.5f}, {0.33f, 1.0f}, {0.67f, 1.0f}, {1.0f, 0.0f}},
                        {{0.0f, 0.0f}, {0.5f, 0.0f}, {0.67f, 1.0f}, {1.0f, 1.0f}}});
                   setCurves(g.transparency().value(), Type::OverParticleLife,
                             {{{0.0f, 1.0f}, {0.7f, 1.0f}, {1.0f, 0.0f}}});
                   look(g, "glow.png", Ps::MAT_Add);
               });
    return system;
}

struct Sample
{
    const char* file;
    std::unique_ptr<System> (*make)();
};

const Sample kSamples[] = {
    {"fire.sxed", makeFire},
    {"smoke.sxed", makeSmoke},
    {"sparks.sxed", makeSparks},
    {"trail.sxed", makeTrail},
    {"fireworks.sxed", makeFireworks},
    {"dust.sxed", makeDust},
    {"path.sxed", makePathFollow},
    {"painted_area.sxed", makePaintedArea},
    {"expression_ring.sxed", makeExpressionRing},
    {"curves.sxed", makeCurves},
};

// Every emitter compiles.
void checkCompiles(const System& system, const std::string& file)
{
    const auto compiler = SystemExportCompilerBin::create(system);
    require(compiler->getErrorEmitterExporters().empty(), file + ": an emitter doesn't compile");
    require(!compiler->exportBytes().empty(), file + ": nothing was compiled");
}

void removeIfThere(const bfs::path& file)
{
    boost::system::error_code error;
    bfs::remove(file, error);
}

// The effects and textures first, the project file last: a run that fails leaves no project
// file, and the build runs it again.
int run(const bfs::path& out)
{
    const bfs::path projectFile = out / "Samples.sxproj";
    removeIfThere(projectFile);
    auto settings = std::make_unique<ProjectSettings>(out, "effects", "textures");
    // The samples are drawn with y up, as the tools draw them.
    settings->setFlippedY(false);
    const bfs::path effects = settings->getResourcesPath();
    const bfs::path textures = settings->getTexturesPath();
    bfs::create_directories(effects);
    bfs::create_directories(textures);

    for (const auto& texture : drawTextures())
        writePng(textures / texture.first, texture.second);

    for (const Sample& sample : kSamples)
    {
        std::unique_ptr<System> system = sample.make();
        checkCompiles(*system, sample.file);
        const bfs::path file = effects / sample.file;
        removeIfThere(file);
        ProjectResourceHandler::createNewStandalone(
            file, std::make_unique<ProjectResourceSystem>(std::move(system)));
    }

    Project::create(projectFile, std::move(settings));
    std::cout << "wrote " << projectFile.string() << " with " << std::size(kSamples)
              << " effects\n";
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::cerr << "usage: samples_gen <output folder>\n";
        return 1;
    }
    try
    {
        return run(bfs::absolute(argv[1]));
    }
    catch (const std::exception& e)
    {
        std::cerr << "samples_gen: " << e.what() << "\n";
        return 2;
    }
}
