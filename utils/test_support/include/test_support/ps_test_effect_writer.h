#pragma once

// A writer of compiled effects for tests, fuzz seeds and tools: it writes the bytes of the
// compiled format field by field through an Sl::SaverBinFlex, as the program's compiler does.
//
//   PsTest::EffectWriter effect;
//   effect.fps(30.0f).fixedSeed(7);
//   const uint16_t style = effect.renderStyle(0, {0});
//   PsTest::EmitterWriter& emitter = effect.emitter();
//   const uint8_t gen = emitter.generatorPeriodic(PsTest::Ext(10.0f));
//   const uint8_t life = emitter.parameterLifetime();
//   emitter.terminatorLess(PsTest::In{life, 0}, PsTest::Ext(1.0f));
//   emitter.updateChain({life}).maxParticles(100);
//   std::vector<uint8_t> bytes = effect.bytes();
//
// Any operation can be written with the generic hook, which takes the factory byte and a
// function that writes the fields of the operation's group:
//   emitter.op(Ps::OF_FuncLerpFloat, [](Sl::Saver& s) { PsTest::writeExt(s, "from", 0.0f); ... });
// The counts of generators, terminators and constructors in the emitter's head follow from the
// factory bytes; chains are lists of operation indices.

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/mat3x3.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_operation_factory.h"
#include "revision_saveload/sl_saver.h"

namespace PsTest
{

// A reference to output `output` of operation `op` of the same emitter.
struct In
{
    uint8_t op = 0;
    uint8_t output = 0;
};

// An input that is either a constant (of one of the four value types) or a reference.
struct Ext
{
    Ext(float v) : type(0), values{v, 0.0f, 0.0f, 0.0f} {}
    Ext(const glm::vec2& v) : type(1), values{v.x, v.y, 0.0f, 0.0f} {}
    Ext(const glm::vec3& v) : type(2), values{v.x, v.y, v.z, 0.0f} {}
    Ext(const glm::quat& q) : type(3), values{q.x, q.y, q.z, q.w} {}
    Ext(In in) : isRef(true), ref(in) {}

    bool isRef = false;
    In ref;
    uint8_t type = 0;
    float values[4] = {0.0f, 0.0f, 0.0f, 0.0f};
};

// The stream forms of the format's fields.
void writeU8(Sl::Saver& saver, const char* name, uint8_t v);
void writeU16(Sl::Saver& saver, const char* name, uint16_t v);
void writeU32(Sl::Saver& saver, const char* name, uint32_t v);
void writeI32(Sl::Saver& saver, const char* name, int32_t v);
void writeF32(Sl::Saver& saver, const char* name, float v);
void writeBool(Sl::Saver& saver, const char* name, bool v);
void writeValue(Sl::Saver& saver, const char* name, float v);
void writeValue(Sl::Saver& saver, const char* name, const glm::vec2& v);
void writeValue(Sl::Saver& saver, const char* name, const glm::vec3& v);
void writeValue(Sl::Saver& saver, const char* name, const glm::quat& v);
void writeValue(Sl::Saver& saver, const char* name, const glm::mat3& v);
void writeIn(Sl::Saver& saver, const char* name, In in);
void writeExt(Sl::Saver& saver, const char* name, const Ext& ext);
// An optional: a group of a flag and, if set, the value.
void writeOptionalF32(Sl::Saver& saver, const char* name, std::optional<float> v);
void writeOptionalU32(Sl::Saver& saver, const char* name, std::optional<uint32_t> v);

class EmitterWriter
{
public:
    using Fields = std::function<void(Sl::Saver&)>;

    enum EnumChain
    {
        Generator = 0,
        Init = 1,
        InitBurst = 2,
        Update = 3,
        Term = 4,
        Construct = 5,
    };

    // Appends an operation; returns its index in the emitter's list.
    uint8_t op(uint8_t factory, Fields fields);

    // The operations of the core runtime, with their fields in file order.
    uint8_t generatorPeriodic(const Ext& rate, float startPhase = 0.0f, uint32_t burst = 1,
                              std::optional<float> fixedTime = std::nullopt,
                              std::optional<uint32_t> fixedShots = std::nullopt);
    uint8_t generatorDistance(const Ext& distance, float startPhase = 0.0f, uint32_t burst = 1);
    uint8_t terminatorLess(const Ext& lesser, const Ext& greater);
    // Levels of nodes: {type, centre, direction, length}.
    struct PathNode
    {
        uint8_t type;
        glm::vec2 centre;
        glm::vec2 direction;
        float length;
    };
    uint8_t terminatorPath(const std::vector<std::vector<PathNode>>& levels);
    uint8_t globParam(const Ext& defaultValue);  // by the value's type; must be a constant
    uint8_t globEmitterPos();
    uint8_t globEmitterDir();
    uint8_t globEmitterRot();
    uint8_t globTime();
    uint8_t globSystemTime();
    uint8_t globNumParticles();
    uint8_t parameterPositionIniter(bool applyRotation, const Ext& init);
    uint8_t parameterPositionUpdater(const Ext& position);
    uint8_t parameterVelocityIniter(const Ext& init, bool addEmitterVelocity, bool applyRotation);
    // Ps::Parameter<T>, T by the input's type (a reference needs the type given).
    uint8_t parameter(const Ext& input, uint8_t valueType);
    uint8_t parameterLifetime();
    uint8_t parameterEmitter(uint32_t connIndex, bool onTerm);
    uint8_t parameterEmitterIniter(uint32_t connIndex, bool onTerm);
    uint8_t parameterEmitterParam(uint8_t valueType, In input, uint8_t globParamEmitter,
                                  uint8_t globParamOp, uint8_t connIndex);
    uint8_t parameterUpdater(uint8_t valueType, uint8_t parameterOp, In input);
    uint8_t funcDistrib(const Ext& value);  // a constant as an operation of the list

    EmitterWriter& chain(EnumChain chain, std::vector<uint8_t> operations);
    EmitterWriter& generatorChain(std::vector<uint8_t> ops)
    {
        return chain(Generator, std::move(ops));
    }
    EmitterWriter& initChain(std::vector<uint8_t> ops) { return chain(Init, std::move(ops)); }
    EmitterWriter& initBurstChain(std::vector<uint8_t> ops)
    {
        return chain(InitBurst, std::move(ops));
    }
    EmitterWriter& updateChain(std::vector<uint8_t> ops) { return chain(Update, std::move(ops)); }
    EmitterWriter& termChain(std::vector<uint8_t> ops) { return chain(Term, std::move(ops)); }
    EmitterWriter& constructChain(std::vector<uint8_t> ops)
    {
        return chain(Construct, std::move(ops));
    }
    // Adds to the init and the init-burst chains.
    EmitterWriter& initBoth(std::vector<uint8_t> ops);

    EmitterWriter& standalone(bool v)
    {
        standalone_ = v;
        return *this;
    }
    EmitterWriter& maxParticles(uint32_t v)
    {
        maxParticles_ = v;
        return *this;
    }
    EmitterWriter& sorting(uint8_t v)
    {
        sorting_ = v;
        return *this;
    }
    EmitterWriter& connect(uint32_t emitterIndex, bool drawBefore = false)
    {
        connected_.push_back({emitterIndex, drawBefore});
        return *this;
    }
    // Overrides the head's count of terminators (by default: the terminators in the list).
    EmitterWriter& statedTerminators(uint16_t n)
    {
        statedTerminators_ = n;
        return *this;
    }

    uint8_t numOperations() const { return static_cast<uint8_t>(ops_.size()); }
    void write(Sl::Saver& saver) const;

private:
    struct Op
    {
        uint8_t factory;
        Fields fields;
    };
    struct Conn
    {
        uint32_t index;
        bool drawBefore;
    };

    std::vector<Op> ops_;
    std::vector<uint8_t> chains_[6];
    bool standalone_ = true;
    uint32_t maxParticles_ = 100;
    uint8_t sorting_ = 0;
    std::vector<Conn> connected_;
    std::optional<uint16_t> statedTerminators_;
};

class EffectWriter
{
public:
    EffectWriter& material(uint8_t m)
    {
        materials_.push_back(m);
        return *this;
    }
    // A texture name, written with its terminating NUL.
    uint16_t texture(const std::string& name);
    uint16_t renderStyle(uint16_t material, std::vector<uint16_t> textures);
    uint32_t mesh(uint32_t maxParticles, uint8_t factory, bool hasNormals, bool hasColors);
    // Appends an emitter; the reference stays valid while the writer lives.
    EmitterWriter& emitter();
    EmitterWriter& emitterAt(uint32_t i) { return *emitters_[i]; }
    uint32_t numEmitters() const { return static_cast<uint32_t>(emitters_.size()); }

    EffectWriter& renderCalls(uint32_t v)
    {
        renderCalls_ = v;
        return *this;
    }
    EffectWriter& fps(float v)
    {
        fps_ = v;
        return *this;
    }
    EffectWriter& fixedSeed(uint32_t seed)
    {
        seed_ = seed;
        return *this;
    }
    EffectWriter& noSeed()
    {
        seed_.reset();
        return *this;
    }
    EffectWriter& presim(float seconds)
    {
        presim_ = seconds;
        return *this;
    }
    // A revision id in the head (16 bytes), or none.
    EffectWriter& revision(std::optional<std::vector<uint8_t>> id)
    {
        revision_ = std::move(id);
        return *this;
    }

    void write(Sl::Saver& saver) const;
    std::vector<uint8_t> bytes() const;

private:
    std::optional<std::vector<uint8_t>> revision_;
    std::vector<uint8_t> materials_;
    std::vector<std::string> textures_;
    struct Style
    {
        uint16_t material;
        std::vector<uint16_t> textures;
    };
    std::vector<Style> styles_;
    struct Mesh
    {
        uint32_t maxParticles;
        uint8_t factory;
        bool hasNormals;
        bool hasColors;
    };
    std::vector<Mesh> meshes_;
    std::vector<std::unique_ptr<EmitterWriter>> emitters_;
    uint32_t renderCalls_ = 0;
    float fps_ = 30.0f;
    std::optional<uint32_t> seed_;
    float presim_ = 0.0f;
};

}  // namespace PsTest
