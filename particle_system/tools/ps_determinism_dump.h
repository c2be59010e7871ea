#pragma once

// One fixed way of driving a compiled effect and of writing down everything it produced, shared
// by the optimised tests and the unoptimised runner, so that their outputs can be compared byte
// for byte. The driver itself uses only exact arithmetic (small integers and fixed constants),
// so that nothing but the runtime decides the particles.
//
// The record, all numbers in the machine's byte order:
//   u32 number of snapshots; for each snapshot:
//     u32 frame; f32 time; f32 sub-frame time; u32 number of standalone instances;
//     per instance: u32 values per particle, u32 active particles, then per particle from the
//     newest:
//       the value of each output that the emitter's operations keep in the particle's data,
//       in the order of operations and outputs (only the values: the padding between them
//       is never written and holds whatever the pool held), f32 x3 position, f32 dt,
//       u8 waiting-for-delete;
//   then, after the final construct: u32 meshes, per mesh: u32 vertices, u32 indices, the used
//   vertex bytes and the used indices; u32 render calls and their four u32 fields each.

#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"

namespace PsDeterminism
{

struct Summary
{
    uint32_t maxParticles = 0;   // the most particles alive at a snapshot
    uint32_t finalVertices = 0;  // vertices in all meshes after the construct
    uint32_t finalRenderCalls = 0;
};

class Record
{
public:
    void bytes(const void* data, size_t size)
    {
        const uint8_t* p = static_cast<const uint8_t*>(data);
        out_.insert(out_.end(), p, p + size);
    }
    void u32(uint32_t v) { bytes(&v, sizeof v); }
    void f32(float v) { bytes(&v, sizeof v); }
    void u8(uint8_t v) { out_.push_back(v); }
    std::vector<uint8_t>& data() { return out_; }

private:
    std::vector<uint8_t> out_;
};

// Where the values of particle-data outputs lie in a particle's record: offset and size.
struct ValueSlot
{
    uint32_t offset;
    uint32_t size;
};

inline uint32_t valueSize(Ps::EnumValueType type)
{
    switch (type)
    {
    case Ps::VT_Float:
        return 4;
    case Ps::VT_Vec2:
        return 8;
    case Ps::VT_Vec3:
        return 12;
    default:
        return 16;
    }
}

// The outputs whose address lies inside their operation's particle data, found through the
// instance's working area.
inline std::vector<ValueSlot> particleValueSlots(Ps::EmitterInst& emitter)
{
    std::vector<ValueSlot> slots;
    const Ps::Emitter& e = emitter.getEmitter();
    for (uint32_t o = 0; o < e.getNumOperations(); ++o)
    {
        const Ps::Operation& op = e.getOperation(o);
        if (!op.getParticleDataSize())
            continue;
        const uint8_t* begin = static_cast<const uint8_t*>(emitter.getVoidPtrDynamicData(op));
        for (uint32_t i = 0; i < op.getNumOutputs(); ++i)
        {
            const Ps::Connection& output = op.getOutput(i);
            const uint8_t* at = static_cast<const uint8_t*>(output.getVoidPtr(emitter));
            const uint32_t size = valueSize(output.getValueType());
            if (at >= begin && at + size <= begin + op.getParticleDataSize())
                slots.push_back(
                    {op.getParticleDataOffset() + static_cast<uint32_t>(at - begin), size});
        }
    }
    return slots;
}

inline uint32_t writeParticles(Record& record, const Ps::SystemInst& inst)
{
    uint32_t total = 0;
    record.u32(inst.getNumEmitterInsts());
    for (uint32_t e = 0; e < inst.getNumEmitterInsts(); ++e)
    {
        Ps::EmitterInst& emitter = inst.getEmitterInst(e);
        const std::vector<ValueSlot> slots = particleValueSlots(emitter);
        record.u32(static_cast<uint32_t>(slots.size()));
        record.u32(emitter.getNumActiveParticles());
        total += emitter.getNumActiveParticles();
        std::optional<uint32_t> head = emitter.getHead();
        if (!head)
            continue;
        for (uint32_t i = *head;; i = emitter.getLink(i))
        {
            for (const ValueSlot& slot : slots)
                record.bytes(emitter.getParticleDynamicDataAt(i) + slot.offset, slot.size);
            const Ps::ParticleInfo& info = emitter.getParticleInfoAt(i);
            record.f32(info.position.x);
            record.f32(info.position.y);
            record.f32(info.position.z);
            record.f32(info.dt);
            record.u8(info.waitingForDelete_ ? 1 : 0);
            if (emitter.getLink(i) == i)
                break;
        }
    }
    return total;
}

inline void writeMeshes(Record& record, const Ps::SystemInst& inst, Summary& summary)
{
    record.u32(inst.getNumMeshes());
    for (uint32_t m = 0; m < inst.getNumMeshes(); ++m)
    {
        const Ps::Mesh& mesh = inst.getMesh(m);
        record.u32(mesh.getNumVertices());
        record.u32(mesh.getNumIndices());
        record.bytes(mesh.getVertices(),
                     static_cast<size_t>(mesh.getNumVertices()) * mesh.getVertexStride());
        record.bytes(mesh.getIndices(),
                     static_cast<size_t>(mesh.getNumIndices()) * sizeof(uint32_t));
        summary.finalVertices += mesh.getNumVertices();
    }
    record.u32(inst.getNumRenderCalls());
    for (uint32_t c = 0; c < inst.getNumRenderCalls(); ++c)
    {
        const Ps::RenderCall& call = inst.getRenderCall(c);
        record.u32(call.meshIndex);
        record.u32(call.renderStyleIndex);
        record.u32(call.startPolygon);
        record.u32(call.numPolygons);
    }
    summary.finalRenderCalls = inst.getNumRenderCalls();
}

// Runs `frames` host steps of a fixed length over the loaded effect, moving and turning the
// emitter, with a snapshot of the particles every `every` steps and at the end, then one
// construct whose meshes close the record.
inline std::vector<uint8_t> runAndRecord(const Ps::System& system, uint32_t frames, uint32_t every,
                                         Summary* summary = nullptr)
{
    Summary local;
    Summary& s = summary ? *summary : local;
    Ps::MemManagedSystemInst holder(system, glm::vec3(0.0f), glm::quat(1.0f, 0.0f, 0.0f, 0.0f));
    Ps::SystemInst& inst = holder.get();
    // Two fixed turns, taken in turn, so that the interpolation of rotations runs.
    const glm::quat turns[2] = {glm::quat(0.8f, 0.0f, 0.0f, 0.6f),
                                glm::quat(0.6f, 0.0f, 0.8f, 0.0f)};

    Record record;
    record.u32(0);  // the number of snapshots, filled in below
    uint32_t snapshots = 0;
    for (uint32_t f = 1; f <= frames; ++f)
    {
        const float step = static_cast<float>(f % 40);
        const glm::vec3 position(0.25f * step, 3.0f - 0.125f * step, 0.5f);
        // A host step of 0.021 s against the effect's frame: one frame in most calls, two or
        // none now and then.
        inst.update(position, turns[(f / 25) % 2], 0.021f);
        if ((every && f % every == 0) || f == frames)
        {
            record.u32(f);
            record.f32(inst.getTime());
            record.f32(inst.getSubFrameTime());
            const uint32_t n = writeParticles(record, inst);
            s.maxParticles = n > s.maxParticles ? n : s.maxParticles;
            ++snapshots;
        }
    }
    std::memcpy(record.data().data(), &snapshots, sizeof snapshots);
    inst.construct(glm::vec3(0.0f, 0.0f, -1.0f), glm::vec3(0.0f, 1.0f, 0.0f),
                   glm::vec3(1.0f, 0.0f, 0.0f), std::nullopt);
    writeMeshes(record, inst, s);
    return std::move(record.data());
}

}  // namespace PsDeterminism
