#include "test_support/ps_test_effect_writer.h"

#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_scoped_group.h"

namespace PsTest
{

void writeU8(Sl::Saver& saver, const char* name, uint8_t v) { saver.write(name, v); }
void writeU16(Sl::Saver& saver, const char* name, uint16_t v)
{
    saver.write(name, v, Sl::PH_Packed);
}
void writeU32(Sl::Saver& saver, const char* name, uint32_t v)
{
    saver.write(name, v, Sl::PH_Packed);
}
void writeI32(Sl::Saver& saver, const char* name, int32_t v)
{
    saver.write(name, v, Sl::PH_Packed);
}
void writeF32(Sl::Saver& saver, const char* name, float v) { saver.write(name, v); }
void writeBool(Sl::Saver& saver, const char* name, bool v) { saver.write(name, v); }

void writeValue(Sl::Saver& saver, const char* name, float v) { saver.write(name, v); }

void writeValue(Sl::Saver& saver, const char* name, const glm::vec2& v)
{
    Sl::ScopedSaverGroup group(name, saver);
    saver.write("x", v.x);
    saver.write("y", v.y);
}

void writeValue(Sl::Saver& saver, const char* name, const glm::vec3& v)
{
    Sl::ScopedSaverGroup group(name, saver);
    saver.write("x", v.x);
    saver.write("y", v.y);
    saver.write("z", v.z);
}

void writeValue(Sl::Saver& saver, const char* name, const glm::quat& v)
{
    Sl::ScopedSaverGroup group(name, saver);
    saver.write("x", v.x);
    saver.write("y", v.y);
    saver.write("z", v.z);
    saver.write("w", v.w);
}

void writeValue(Sl::Saver& saver, const char* name, const glm::mat3& v)
{
    Sl::ScopedSaverGroup group(name, saver);
    writeValue(saver, "colx", v[0]);
    writeValue(saver, "coly", v[1]);
    writeValue(saver, "colz", v[2]);
}

void writeIn(Sl::Saver& saver, const char* name, In in)
{
    Sl::ScopedSaverGroup group(name, saver);
    writeU8(saver, "oper", in.op);
    writeU8(saver, "output", in.output);
}

namespace
{

void writeExtValue(Sl::Saver& saver, const Ext& ext)
{
    switch (ext.type)
    {
    case 0:
        writeValue(saver, "value", ext.values[0]);
        break;
    case 1:
        writeValue(saver, "value", glm::vec2(ext.values[0], ext.values[1]));
        break;
    case 2:
        writeValue(saver, "value", glm::vec3(ext.values[0], ext.values[1], ext.values[2]));
        break;
    default:
        writeValue(saver, "value",
                   glm::quat(ext.values[3], ext.values[0], ext.values[1], ext.values[2]));
        break;
    }
}

}  // namespace

void writeExt(Sl::Saver& saver, const char* name, const Ext& ext)
{
    Sl::ScopedSaverGroup group(name, saver);
    writeBool(saver, "ext", ext.isRef);
    if (ext.isRef)
    {
        writeIn(saver, "input", ext.ref);
        return;
    }
    writeU8(saver, "type", ext.type);
    Sl::ScopedSaverGroup value(nullptr, saver);
    writeExtValue(saver, ext);
}

void writeOptionalF32(Sl::Saver& saver, const char* name, std::optional<float> v)
{
    Sl::ScopedSaverGroup group(name, saver);
    writeBool(saver, "has_value", v.has_value());
    if (v)
        writeF32(saver, "value", *v);
}

void writeOptionalU32(Sl::Saver& saver, const char* name, std::optional<uint32_t> v)
{
    Sl::ScopedSaverGroup group(name, saver);
    writeBool(saver, "has_value", v.has_value());
    if (v)
        writeU32(saver, "value", *v);
}

uint8_t EmitterWriter::op(uint8_t factory, Fields fields)
{
    ops_.push_back({factory, std::move(fields)});
    return static_cast<uint8_t>(ops_.size() - 1);
}

uint8_t EmitterWriter::generatorPeriodic(const Ext& rate, float startPhase, uint32_t burst,
                                         std::optional<float> fixedTime,
                                         std::optional<uint32_t> fixedShots)
{
    return op(Ps::OF_GeneratorPeriodic,
              [=](Sl::Saver& s)
              {
                  writeOptionalF32(s, "fixed_time", fixedTime);
                  writeOptionalU32(s, "fixed_shots", fixedShots);
                  writeExt(s, "rate", rate);
                  writeF32(s, "start_phase", startPhase);
                  writeU32(s, "burst", burst);
              });
}

uint8_t EmitterWriter::generatorDistance(const Ext& distance, float startPhase, uint32_t burst)
{
    return op(Ps::OF_GeneratorDistance,
              [=](Sl::Saver& s)
              {
                  writeExt(s, "distance", distance);
                  writeF32(s, "start_phase", startPhase);
                  writeU32(s, "burst", burst);
              });
}

uint8_t EmitterWriter::terminatorLess(const Ext& lesser, const Ext& greater)
{
    return op(Ps::OF_TerminatorLess,
              [=](Sl::Saver& s)
              {
                  writeExt(s, "lesser", lesser);
                  writeExt(s, "greater", greater);
              });
}

uint8_t EmitterWriter::terminatorPath(const std::vector<std::vector<PathNode>>& levels)
{
    return op(Ps::OF_TerminatorPath,
              [=](Sl::Saver& s)
              {
                  writeU8(s, "num_levels", static_cast<uint8_t>(levels.size()));
                  for (const std::vector<PathNode>& level : levels)
                  {
                      writeU32(s, "num_nodes", static_cast<uint32_t>(level.size()));
                      for (const PathNode& node : level)
                      {
                          writeU8(s, "type", node.type);
                          writeValue(s, "centre", node.centre);
                          writeValue(s, "direction", node.direction);
                          writeF32(s, "length", node.length);
                      }
                  }
              });
}

uint8_t EmitterWriter::globParam(const Ext& defaultValue)
{
    return op(static_cast<uint8_t>(Ps::OF_GlobParamFloat + defaultValue.type),
              [=](Sl::Saver& s) { writeExtValue(s, defaultValue); });
}

uint8_t EmitterWriter::globEmitterPos()
{
    return op(Ps::OF_GlobEmitterPos, [](Sl::Saver&) {});
}
uint8_t EmitterWriter::globEmitterDir()
{
    return op(Ps::OF_GlobEmitterDir, [](Sl::Saver&) {});
}
uint8_t EmitterWriter::globEmitterRot()
{
    return op(Ps::OF_GlobEmitterRot, [](Sl::Saver&) {});
}
uint8_t EmitterWriter::globTime()
{
    return op(Ps::OF_GlobTime, [](Sl::Saver&) {});
}
uint8_t EmitterWriter::globSystemTime()
{
    return op(Ps::OF_GlobSystemTime, [](Sl::Saver&) {});
}
uint8_t EmitterWriter::globNumParticles()
{
    return op(Ps::OF_GlobNumParticles, [](Sl::Saver&) {});
}

uint8_t EmitterWriter::parameterPositionIniter(bool applyRotation, const Ext& init)
{
    return op(Ps::OF_ParameterPositionIniter,
              [=](Sl::Saver& s)
              {
                  writeBool(s, "apply_rotation", applyRotation);
                  writeExt(s, "init", init);
              });
}

uint8_t EmitterWriter::parameterPositionUpdater(const Ext& position)
{
    return op(Ps::OF_ParameterPositionUpdater,
              [=](Sl::Saver& s) { writeExt(s, "position", position); });
}

uint8_t EmitterWriter::parameterVelocityIniter(const Ext& init, bool addEmitterVelocity,
                                               bool applyRotation)
{
    return op(Ps::OF_ParameterVelocityIniter,
              [=](Sl::Saver& s)
              {
                  writeExt(s, "init", init);
                  writeBool(s, "add_emitter_velocity", addEmitterVelocity);
                  writeBool(s, "apply_rotation", applyRotation);
              });
}

uint8_t EmitterWriter::parameter(const Ext& input, uint8_t valueType)
{
    return op(static_cast<uint8_t>(Ps::OF_ParameterFloat + valueType),
              [=](Sl::Saver& s) { writeExt(s, "input", input); });
}

uint8_t EmitterWriter::parameterLifetime()
{
    return op(Ps::OF_ParameterLifetime, [](Sl::Saver&) {});
}

uint8_t EmitterWriter::parameterEmitter(uint32_t connIndex, bool onTerm)
{
    return op(Ps::OF_ParameterEmitter,
              [=](Sl::Saver& s)
              {
                  writeU32(s, "conn_emitter_index", connIndex);
                  writeBool(s, "on_term", onTerm);
              });
}

uint8_t EmitterWriter::parameterEmitterIniter(uint32_t connIndex, bool onTerm)
{
    return op(Ps::OF_ParameterEmitterIniter,
              [=](Sl::Saver& s)
              {
                  writeU32(s, "conn_emitter_index", connIndex);
                  writeBool(s, "on_term", onTerm);
              });
}

uint8_t EmitterWriter::parameterEmitterParam(uint8_t valueType, In input, uint8_t globParamEmitter,
                                             uint8_t globParamOp, uint8_t connIndex)
{
    return op(static_cast<uint8_t>(Ps::OF_ParameterEmitterParamFloat + valueType),
              [=](Sl::Saver& s)
              {
                  writeIn(s, "input", input);
                  writeU8(s, "glob_param_emitter_index", globParamEmitter);
                  writeU8(s, "glob_param_op_index", globParamOp);
                  writeU8(s, "conn_emitter_index", connIndex);
              });
}

uint8_t EmitterWriter::parameterUpdater(uint8_t valueType, uint8_t parameterOp, In input)
{
    return op(static_cast<uint8_t>(Ps::OF_ParameterUpdaterFloat + valueType),
              [=](Sl::Saver& s)
              {
                  writeU8(s, "parameter", parameterOp);
                  writeIn(s, "input", input);
              });
}

uint8_t EmitterWriter::funcDistrib(const Ext& value)
{
    return op(static_cast<uint8_t>(Ps::OF_FuncDistribFloat + value.type),
              [=](Sl::Saver& s) { writeExtValue(s, value); });
}

EmitterWriter& EmitterWriter::chain(EnumChain chain, std::vector<uint8_t> operations)
{
    chains_[chain] = std::move(operations);
    return *this;
}

EmitterWriter& EmitterWriter::initBoth(std::vector<uint8_t> ops)
{
    chains_[Init] = ops;
    chains_[InitBurst] = std::move(ops);
    return *this;
}

void EmitterWriter::write(Sl::Saver& saver) const
{
    uint16_t generators = 0;
    uint16_t terminators = 0;
    uint16_t constructors = 0;
    for (const Op& o : ops_)
    {
        if (o.factory <= Ps::OF_GeneratorDistance)
            ++generators;
        else if (o.factory <= Ps::OF_TerminatorPath)
            ++terminators;
        else if (o.factory <= Ps::OF_ConstructorStrip)
            ++constructors;
    }
    writeU8(saver, "num_operations", static_cast<uint8_t>(ops_.size()));
    writeU16(saver, "num_generators", generators);
    writeU16(saver, "num_terminators", statedTerminators_ ? *statedTerminators_ : terminators);
    writeU16(saver, "num_constructors", constructors);
    for (const Op& o : ops_)
    {
        writeU8(saver, "factory", o.factory);
        Sl::ScopedSaverGroup group("operation", saver);
        o.fields(saver);
    }
    static const char* const kChainNames[6] = {"generator_chain", "init_chain", "init_burst_chain",
                                               "update_chain",    "term_chain", "construct_chain"};
    for (int c = 0; c < 6; ++c)
    {
        Sl::ScopedSaverGroup group(kChainNames[c], saver);
        writeU8(saver, "length", static_cast<uint8_t>(chains_[c].size()));
        for (uint8_t index : chains_[c])
            writeU8(saver, "op", index);
    }
    writeBool(saver, "standalone", standalone_);
    writeU32(saver, "max_num_particles", maxParticles_);
    writeU8(saver, "sorting", sorting_);
    writeU32(saver, "num_conn_emitters", static_cast<uint32_t>(connected_.size()));
    for (const Conn& conn : connected_)
    {
        Sl::ScopedSaverGroup group("conn_emitter", saver);
        writeU32(saver, "idx_of_conn_emitter", conn.index);
        writeBool(saver, "draw_before", conn.drawBefore);
    }
}

uint16_t EffectWriter::texture(const std::string& name)
{
    textures_.push_back(name);
    return static_cast<uint16_t>(textures_.size() - 1);
}

uint16_t EffectWriter::renderStyle(uint16_t material, std::vector<uint16_t> textures)
{
    styles_.push_back({material, std::move(textures)});
    return static_cast<uint16_t>(styles_.size() - 1);
}

uint32_t EffectWriter::mesh(uint32_t maxParticles, uint8_t factory, bool hasNormals, bool hasColors)
{
    meshes_.push_back({maxParticles, factory, hasNormals, hasColors});
    return static_cast<uint32_t>(meshes_.size() - 1);
}

EmitterWriter& EffectWriter::emitter()
{
    emitters_.push_back(std::make_unique<EmitterWriter>());
    return *emitters_.back();
}

void EffectWriter::write(Sl::Saver& saver) const
{
    {
        Sl::ScopedSaverGroup group("revision", saver);
        writeBool(saver, "has_revision", revision_.has_value());
        if (revision_)
        {
            Sl::ScopedSaverGroup id("id", saver);
            for (uint8_t b : *revision_)
                writeU8(saver, "b", b);
        }
    }
    writeU32(saver, "num_materials", static_cast<uint32_t>(materials_.size()));
    for (uint8_t m : materials_)
        writeU8(saver, "mat", m);
    writeU32(saver, "num_textures", static_cast<uint32_t>(textures_.size()));
    for (const std::string& name : textures_)
    {
        const uint32_t length = static_cast<uint32_t>(name.size() + 1);
        writeU32(saver, "length", length);
        saver.writeBinary("tex", reinterpret_cast<const uint8_t*>(name.c_str()), length);
    }
    writeU32(saver, "num_rstyles", static_cast<uint32_t>(styles_.size()));
    for (const Style& style : styles_)
    {
        writeU16(saver, "mat_index", style.material);
        writeU8(saver, "num_tex", static_cast<uint8_t>(style.textures.size()));
        for (uint16_t t : style.textures)
            writeU16(saver, "tex_index", t);
    }
    writeU32(saver, "num_meshes", static_cast<uint32_t>(meshes_.size()));
    for (const Mesh& mesh : meshes_)
    {
        writeU32(saver, "max_num_particles", mesh.maxParticles);
        writeU8(saver, "mesh_factory", mesh.factory);
        writeBool(saver, "has_normals", mesh.hasNormals);
        writeBool(saver, "has_colors", mesh.hasColors);
    }
    writeU32(saver, "num_emitters", static_cast<uint32_t>(emitters_.size()));
    for (const std::unique_ptr<EmitterWriter>& emitter : emitters_)
        emitter->write(saver);
    writeU32(saver, "num_rcalls", renderCalls_);
    writeF32(saver, "fps", fps_);
    {
        Sl::ScopedSaverGroup group("seed", saver);
        writeU8(saver, "seed_type", seed_ ? 0 : 1);
        if (seed_)
            writeU32(saver, "fixed_seed", *seed_);
    }
    writeF32(saver, "presim_time", presim_);
}

std::vector<uint8_t> EffectWriter::bytes() const
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    write(saver);
    return saver.dataAsVector();
}

}  // namespace PsTest
