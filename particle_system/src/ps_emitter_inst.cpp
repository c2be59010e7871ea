#include "particle_system/ps_emitter_inst.h"

#include <algorithm>
#include <cstddef>
#include <cmath>
#include <cstring>
#include <new>

#include <glm/geometric.hpp>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_mesh.h"
#include "particle_system/ps_operation_factory.h"
#include "particle_system/functions/ps_func_basic.h"
#include "particle_system/ps_parameter.h"
#include "particle_system/ps_terminator_less.h"
#include "particle_system/ps_system_inst.h"

namespace Ps
{

namespace
{

bool gLinkageChecks = false;
bool gWalkPrograms = true;

const glm::quat kIdentity(1.0f, 0.0f, 0.0f, 0.0f);

uint32 objectSize() { return Allocator::aligned(sizeof(EmitterInst)); }

}  // namespace

uint32 EmitterInst::computeParticleDataSize(const Emitter& emitter)
{
    uint64 size = Allocator::aligned(emitter.getDynamicDataSize());
    size += Allocator::aligned(sizeof(ParticleInfo));
    size += Allocator::alignedArray(emitter.getNumConnectedEmitters(), sizeof(EmitterInst*));
    for (uint32 i = 0; i < emitter.getNumConnectedEmitters(); ++i)
    {
        size += computePoolSizeWithInstObject(*emitter.getConnectedEmitter(i).emitter);
        Allocator::checkedSize(size);
    }
    return Allocator::checkedSize(size);
}

uint32 EmitterInst::computePoolSize(const Emitter& emitter)
{
    const uint32 n = emitter.getMaxNumParticles();
    uint64 size = Allocator::aligned(emitter.getStaticDataSize());
    size += Allocator::aligned(emitter.getDynamicDataSize());
    size += Allocator::alignedArray(n, emitter.getParticleStride());
    size += Allocator::alignedArray(n, sizeof(uint32));
    size += Allocator::alignedArray(n, sizeof(SortInfo));
    return Allocator::checkedSize(size);
}

uint32 EmitterInst::computePoolSizeWithInstObject(const Emitter& emitter)
{
    return Allocator::checkedSize(static_cast<uint64>(objectSize()) + emitter.getInstPoolSize());
}

EmitterInst* EmitterInst::createInPool(uint8* pool, SystemInst& systemInst, const Emitter& emitter,
                                       const glm::vec3& position, const glm::quat& rotation)
{
    return new (pool) EmitterInst(computePoolSizeWithInstObject(emitter), systemInst, emitter,
                                  position, rotation);
}

EmitterInst::EmitterInst(uint32 poolSize, SystemInst& systemInst, const Emitter& emitter,
                         const glm::vec3& position, const glm::quat& rotation)
    : poolSize_(poolSize),
      systemInst_(&systemInst),
      emitter_(&emitter),
      particleStride_(emitter.getParticleStride()),
      dynamicSize_(emitter.getDynamicDataSize()),
      infoOffset_(Allocator::aligned(emitter.getDynamicDataSize())),
      prevPosition_(position),
      prevRotation_(rotation),
      position_(position),
      rotation_(rotation)
{
    connectedOffset_ = infoOffset_ + Allocator::aligned(sizeof(ParticleInfo));
    const uint32 n = emitter.getMaxNumParticles();
    staticData_ = reinterpret_cast<uint8*>(this) + objectSize();
    workingArea_ = staticData_ + Allocator::aligned(emitter.getStaticDataSize());
    particles_ = workingArea_ + Allocator::aligned(emitter.getDynamicDataSize());
    links_ = reinterpret_cast<uint32*>(particles_ + Allocator::alignedArray(n, particleStride_));
    sortArray_ = reinterpret_cast<SortInfo*>(reinterpret_cast<uint8*>(links_) +
                                             Allocator::alignedArray(n, sizeof(uint32)));
    reset(std::nullopt, std::nullopt);
}

RandomGenerator& EmitterInst::getRandomGenerator() const
{
    return systemInst_->getRandomGenerator();
}

uint32 EmitterInst::getMaxNumParticles() const { return emitter_->getMaxNumParticles(); }

void EmitterInst::reset(const std::optional<glm::vec3>& position,
                        const std::optional<glm::quat>& rotation)
{
    if (position)
    {
        position_ = *position;
        prevPosition_ = *position;
    }
    if (rotation)
    {
        rotation_ = *rotation;
        prevRotation_ = *rotation;
    }
    time_ = 0.0f;
    prevPositionTime_ = 0.0f;
    traveledDistance_ = 0.0f;

    const uint32 n = emitter_->getMaxNumParticles();
    for (uint32 i = 0; i + 1 < n; ++i)
        links_[i] = i + 1;
    if (n > 0)
    {
        links_[n - 1] = n - 1;
        freeHead_ = 0;
    }
    else
    {
        freeHead_.reset();
    }
    head_.reset();
    numActiveParticles_ = 0;
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;

    emitter_->initData(*this);
}

void EmitterInst::update(const std::optional<glm::vec3>& position,
                         const std::optional<glm::quat>& rotation, float dt)
{
    systemInst_->getStatsEmitter(emitter_->getIndex()).numEmitters += 1;

    if (position)
    {
        prevPositionTime_ = time_;
        if (*position != position_)
        {
            const glm::vec3 step = *position - position_;
            velocity_ = step / dt;
            traveledDistance_ += std::sqrt(step.x * step.x + step.y * step.y + step.z * step.z);
        }
        else
        {
            velocity_ = glm::vec3(0.0f);
        }
        // The start of the step just taken; a standing emitter thus has a step of length 0.
        prevPosition_ = position_;
    }
    else if (rotation)
    {
        prevPositionTime_ = time_;
        velocity_ = glm::vec3(0.0f);
    }
    if (rotation)
        prevRotation_ = rotation_;

    if (active_)
    {
        // Copies: the generator moves position_ and rotation_ while it works.
        const glm::vec3 targetPosition = position ? *position : position_;
        const glm::quat targetRotation = rotation ? *rotation : rotation_;
        emitter_->processGeneratorChain(*this, targetPosition, targetRotation, dt);
    }
    else
    {
        if (position)
            position_ = *position;
        if (rotation)
            rotation_ = *rotation;
        time_ += dt;
    }

    if (head_)
        walkParticles(dt);
}

void EmitterInst::walkGeneric(float dt)
{
    SystemInst::Stats::Emitter& stats = systemInst_->getStatsEmitter(emitter_->getIndex());
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    uint32 i = *head_;
    std::optional<uint32> prev;
    ParticleInfo* visited = nullptr;
    for (;;)
    {
        stats.numParticles += 1;
        const uint32 next = links_[i];
        ParticleInfo* const info = this->info(i);
        currentParticleInfo_ = info;
        prevParticleInfo_ = visited;
        if (info->waitingForDelete_)
        {
            stepWaitingParticle(i, *info, numConnected, prev, dt);
        }
        else
        {
            uint8* const record = particle(i);
            std::memcpy(workingArea_, record, dynamicSize_);
            info->dt = dt;
            emitter_->processUpdateChain(*this, dt);
            if (!emitter_->processTerminatorChain(*this, dt))
            {
                std::memcpy(record, workingArea_, dynamicSize_);
                prev = i;
            }
            else if (!killParticleIfReady(i, prev))
            {
                prev = i;
            }
        }
        visited = info;
        if (next == i)
            break;
        i = next;
    }
}

// The program of a walk: the operations of the update chain and of the terminator chain, in
// chain order, then the terminators, each as a step that the walk runs without a virtual call
// where the operation is one of the plain kinds below, and through the operation otherwise.
//
// A step reads the same addresses as its operation would (those the operation resolved in its
// emitter data) and performs the same arithmetic in the same order, so a program gives exactly
// the results of the general walk. The refinements keep to that too:
//  - Publishers of values of the instance (emitter position, velocity, rotation, the two times)
//    write the same value for every particle of one walk, nothing else writes their emitter
//    data, and (without connected emitters, whose generators move the system's time) nothing in
//    the walk changes what they read: they run for the first particle only.
//  - In place: when every step is plain (no connected emitters; through the operation only the
//    publishers), the steps work on the particle's record itself instead of a copy in the
//    working area. The working area is brought to what the general walk leaves in it: before a
//    particle's termination (whose chain sees the working area) and at the end of the walk, it
//    receives the particle's data. A terminated particle's record then holds its updated values,
//    where the general walk leaves the old ones; with no connected emitters it is freed at once,
//    and no step reads another particle's record.
//  - Batches: in place, with steps that write nothing but the particle's record and its
//    position, and read nothing else that changes during the walk, each step runs over a
//    batch of particles before the next step. Per particle, the steps run in their order on the
//    same values, so the results are the same; the ends of the particles follow in walk order.
// The walk asks for the next records of the active list ahead of their use.
struct EmitterInst::WalkProgram
{
    enum Code : uint8
    {
        C_Call,       // op->process()
        C_AddDt,      // float += dt (the particle's age)
        C_Copy4,      // dst = src, 4 bytes
        C_Copy8,      // 8 bytes
        C_Copy12,     // 12 bytes
        C_Copy16,     // 16 bytes
        C_Position,   // the particle's position = src (vec3)
        C_Move1,      // dst = src + dt * src2 (FuncMove: float)
        C_Move2,      // vec2
        C_Move3,      // vec3
        C_Less,       // terminator: *src > *dst ends the particle
        C_Terminate,  // terminator: op->processTerminator()
    };

    // An absolute address, an offset into the particle's data (the working area or, in place,
    // the record) or, in batches, an offset into the particle's temporaries:
    // address = value + (record & dynMask) + (temporaries & tempMask).
    struct Address
    {
        uintptr_t value;
        uintptr_t dynMask;
        uintptr_t tempMask;
    };

    struct Step
    {
        Code code;
        Operation* op;
        Address src;
        Address dst;
        Address src2;
    };

    // Chains longer than this run the general walk.
    static constexpr uint32 kMaxSteps = 32;
    static constexpr uint32 kBatch = 64;

    Step first[kMaxSteps];  // the steps for the first particle of the walk
    uint32 numFirst = 0;
    Step rest[kMaxSteps];  // for the others: without the publishers of invariant values
    uint32 numRest = 0;
    bool inPlace = true;
    bool batched = false;

    // In batches, the outputs that plain steps keep in the emitter data (FuncMove) go to
    // temporaries of each particle instead, so that every particle of the batch has its own;
    // the emitter data receives those of the last particle after each batch, as the general
    // walk leaves them. `batch` is `rest` with the addresses of those outputs turned to the
    // temporaries.
    struct Temp
    {
        uint8* at;  // the output in the emitter data
        uint32 size;
        uint32 offset;  // in the particle's temporaries
    };
    static constexpr uint32 kTempBytes = 64;
    Step batch[kMaxSteps];
    Temp temps[kTempBytes / 4];
    uint32 numTemps = 0;
};

namespace
{

using WalkProgram = EmitterInst::WalkProgram;

// The program reads the addresses that the plain kinds resolved in their emitter data, where
// their `Data` records keep them: the input first, then (updaters) the target; the terminator's
// two values in order. A parameter keeps its value first in its particle data.
static_assert(offsetof(Parameter<glm::quat>::Data, input) == 0, "parameter's input first");
static_assert(offsetof(Parameter<glm::quat>::DynData, value) == 0, "parameter's value first");
static_assert(offsetof(ParameterUpdater<glm::quat>::Data, input) == 0 &&
                  offsetof(ParameterUpdater<glm::quat>::Data, target) == sizeof(void*),
              "updater's input, then its target");
static_assert(offsetof(ParameterPositionUpdater::Data, position) == 0, "position updater's input");
static_assert(offsetof(ParameterLifetime::DynData, value) == 0, "lifetime's value first");
static_assert(offsetof(FuncMove<glm::vec3>::Data, in) == 0 &&
                  offsetof(FuncMove<glm::vec3>::Data, out) == 2 * sizeof(void*),
              "move's two inputs, then its output");
static_assert(offsetof(TerminatorLess::Data, lesser) == 0 &&
                  offsetof(TerminatorLess::Data, greater) == sizeof(void*),
              "terminator's two values");

// Invariant while the instance walks its particles (see WalkProgram).
bool publishesInvariantValue(uint8 type)
{
    switch (type)
    {
    case OF_GlobEmitterPos:
    case OF_GlobEmitterDir:
    case OF_GlobEmitterRot:
    case OF_GlobTime:
    case OF_GlobSystemTime:
        return true;
    default:
        return false;
    }
}

bool publishesValue(uint8 type)
{
    return publishesInvariantValue(type) || type == OF_GlobNumParticles;
}

// Operations whose process() does nothing.
bool hasNoProcess(uint8 type)
{
    return (type >= OF_GlobParamFloat && type <= OF_GlobParamQuat) ||
           (type >= OF_FuncDistribFloat && type <= OF_FuncDistribQuat);
}

WalkProgram::Code copyCode(uint32 size)
{
    switch (size)
    {
    case 4:
        return WalkProgram::C_Copy4;
    case 8:
        return WalkProgram::C_Copy8;
    case 12:
        return WalkProgram::C_Copy12;
    default:
        return WalkProgram::C_Copy16;
    }
}

uint32 valueSizeOf(uint8 type, uint8 floatType)
{
    switch (type - floatType)
    {
    case 0:
        return sizeof(float);
    case 1:
        return sizeof(glm::vec2);
    case 2:
        return sizeof(glm::vec3);
    default:
        return sizeof(glm::quat);
    }
}

// A value of Size bytes (4, 8, 12 or 16), read whole before it is written, as the assignment of
// a value would: source and target may overlap.
template <uint32 Size>
inline void copyBytes(uint8* dst, const uint8* src)
{
    static_assert(Size == 4 || Size == 8 || Size == 12 || Size == 16, "a value's size");
    if constexpr (Size == 4)
    {
        uint32 a;
        std::memcpy(&a, src, 4);
        std::memcpy(dst, &a, 4);
    }
    else
    {
        uint64 a;
        std::memcpy(&a, src, 8);
        if constexpr (Size == 8)
        {
            std::memcpy(dst, &a, 8);
        }
        else if constexpr (Size == 12)
        {
            uint32 b;
            std::memcpy(&b, src + 8, 4);
            std::memcpy(dst, &a, 8);
            std::memcpy(dst + 8, &b, 4);
        }
        else
        {
            uint64 b;
            std::memcpy(&b, src + 8, 8);
            std::memcpy(dst, &a, 8);
            std::memcpy(dst + 8, &b, 8);
        }
    }
}

// FuncMove<T>: its output = funcMove(input, speed, dt), the very arithmetic of the operation.
template <class T>
inline void moveStep(uint8* out, const uint8* input, const uint8* speed, float dt)
{
    T a;
    T b;
    std::memcpy(&a, input, sizeof(T));
    std::memcpy(&b, speed, sizeof(T));
    const T moved = funcMove(a, b, dt);
    std::memcpy(out, &moved, sizeof(T));
}

inline uint8* resolve(const WalkProgram::Address& a, uintptr_t record, uintptr_t temps = 0)
{
    return reinterpret_cast<uint8*>(a.value + (record & a.dynMask) + (temps & a.tempMask));
}

// Runs `steps` for one particle; true when a terminator ends it. `record`: the particle's data
// for the offsets of the steps (0 when every address is absolute).
inline bool runSteps(EmitterInst& inst, const WalkProgram::Step* steps, uint32 numSteps,
                     uintptr_t record, ParticleInfo& info, float dt)
{
    for (uint32 k = 0; k < numSteps; ++k)
    {
        const WalkProgram::Step& step = steps[k];
        const uint8* src = resolve(step.src, record);
        uint8* dst = resolve(step.dst, record);
        switch (step.code)
        {
        case WalkProgram::C_Call:
            step.op->process(inst, dt);
            break;
        case WalkProgram::C_AddDt:
        {
            float value;
            std::memcpy(&value, dst, sizeof(float));
            value += dt;
            std::memcpy(dst, &value, sizeof(float));
            break;
        }
        case WalkProgram::C_Copy4:
            copyBytes<4>(dst, src);
            break;
        case WalkProgram::C_Copy8:
            copyBytes<8>(dst, src);
            break;
        case WalkProgram::C_Copy12:
            copyBytes<12>(dst, src);
            break;
        case WalkProgram::C_Copy16:
            copyBytes<16>(dst, src);
            break;
        case WalkProgram::C_Position:
            copyBytes<12>(reinterpret_cast<uint8*>(&info.position), src);
            break;
        case WalkProgram::C_Move1:
            moveStep<float>(dst, src, resolve(step.src2, record), dt);
            break;
        case WalkProgram::C_Move2:
            moveStep<glm::vec2>(dst, src, resolve(step.src2, record), dt);
            break;
        case WalkProgram::C_Move3:
            moveStep<glm::vec3>(dst, src, resolve(step.src2, record), dt);
            break;
        case WalkProgram::C_Less:
        {
            float lesser;
            float greater;
            std::memcpy(&lesser, src, sizeof(float));
            std::memcpy(&greater, dst, sizeof(float));
            if (lesser > greater)
                return true;
            break;
        }
        case WalkProgram::C_Terminate:
            if (static_cast<Terminator*>(step.op)->processTerminator(inst, dt))
                return true;
            break;
        }
    }
    return false;
}

// A copy step over a batch. A source outside the record and the temporaries is fixed for the
// walk: the same value for every particle of the batch.
template <uint32 Size>
inline void copyOverBatch(const WalkProgram::Step& step, uint8* const* records, uint8* temps,
                          uint32 n)
{
    if (!step.src.dynMask && !step.src.tempMask)
    {
        alignas(8) uint8 value[Size];
        copyBytes<Size>(value, reinterpret_cast<const uint8*>(step.src.value));
        for (uint32 b = 0; b < n; ++b)
            copyBytes<Size>(records[b] + step.dst.value, value);
        return;
    }
    if (step.src.dynMask)
    {
        for (uint32 b = 0; b < n; ++b)
            copyBytes<Size>(records[b] + step.dst.value, records[b] + step.src.value);
        return;
    }
    for (uint32 b = 0; b < n; ++b)
        copyBytes<Size>(records[b] + step.dst.value,
                        temps + b * WalkProgram::kTempBytes + step.src.value);
}

// The steps of a batched program (WalkProgram::batched) over n particles, each with its
// temporaries (kTempBytes apart from `temps`): the copies' targets are in the records;
// terminators have no effects, so all of them may run and the first that fires decides.
// Returns whether any of the particles ended.
bool runBatch(const WalkProgram& program, uint8* const* records, uint8* temps, uint32 infoOffset,
              bool* terminated, uint32 n, float dt)
{
    for (uint32 b = 0; b < n; ++b)
        terminated[b] = false;
    bool any = false;
    auto tempsOf = [temps](uint32 b)
    { return reinterpret_cast<uintptr_t>(temps + b * WalkProgram::kTempBytes); };
    for (uint32 k = 0; k < program.numRest; ++k)
    {
        const WalkProgram::Step& step = program.batch[k];
        switch (step.code)
        {
        case WalkProgram::C_Move1:
        case WalkProgram::C_Move2:
        case WalkProgram::C_Move3:
            for (uint32 b = 0; b < n; ++b)
            {
                const uintptr_t record = reinterpret_cast<uintptr_t>(records[b]);
                uint8* const out = resolve(step.dst, record, tempsOf(b));
                const uint8* const input = resolve(step.src, record, tempsOf(b));
                const uint8* const speed = resolve(step.src2, record, tempsOf(b));
                if (step.code == WalkProgram::C_Move1)
                    moveStep<float>(out, input, speed, dt);
                else if (step.code == WalkProgram::C_Move2)
                    moveStep<glm::vec2>(out, input, speed, dt);
                else
                    moveStep<glm::vec3>(out, input, speed, dt);
            }
            break;
        case WalkProgram::C_AddDt:
            for (uint32 b = 0; b < n; ++b)
            {
                uint8* at = records[b] + step.dst.value;
                float value;
                std::memcpy(&value, at, sizeof(float));
                value += dt;
                std::memcpy(at, &value, sizeof(float));
            }
            break;
        case WalkProgram::C_Copy4:
            copyOverBatch<4>(step, records, temps, n);
            break;
        case WalkProgram::C_Copy8:
            copyOverBatch<8>(step, records, temps, n);
            break;
        case WalkProgram::C_Copy12:
            copyOverBatch<12>(step, records, temps, n);
            break;
        case WalkProgram::C_Copy16:
            copyOverBatch<16>(step, records, temps, n);
            break;
        case WalkProgram::C_Position:
            for (uint32 b = 0; b < n; ++b)
            {
                ParticleInfo* const info = reinterpret_cast<ParticleInfo*>(records[b] + infoOffset);
                const uint8* const src = step.src.dynMask ? records[b] + step.src.value
                                                          : resolve(step.src, 0, tempsOf(b));
                copyBytes<12>(reinterpret_cast<uint8*>(&info->position), src);
            }
            break;
        case WalkProgram::C_Less:
            if (step.src.dynMask && !step.dst.dynMask && !step.dst.tempMask)
            {
                // The usual form: the particle's value against a limit fixed for the walk.
                float greater;
                std::memcpy(&greater, reinterpret_cast<const uint8*>(step.dst.value),
                            sizeof(float));
                for (uint32 b = 0; b < n; ++b)
                {
                    float lesser;
                    std::memcpy(&lesser, records[b] + step.src.value, sizeof(float));
                    const bool ends = lesser > greater;
                    terminated[b] = terminated[b] || ends;
                    any = any || ends;
                }
                break;
            }
            for (uint32 b = 0; b < n; ++b)
            {
                const uintptr_t record = reinterpret_cast<uintptr_t>(records[b]);
                float lesser;
                float greater;
                std::memcpy(&lesser, resolve(step.src, record, tempsOf(b)), sizeof(float));
                std::memcpy(&greater, resolve(step.dst, record, tempsOf(b)), sizeof(float));
                const bool ends = lesser > greater;
                terminated[b] = terminated[b] || ends;
                any = any || ends;
            }
            break;
        default:
            break;
        }
    }
    return any;
}

// Makes `batch` from `rest` (see WalkProgram::Temp); false when a step reads an output that
// a later step makes, which only the emitter data carries from one particle to the next.
bool buildBatchSteps(WalkProgram& program)
{
    uint32 producer[WalkProgram::kTempBytes / 4];
    uint32 used = 0;
    program.numTemps = 0;
    for (uint32 k = 0; k < program.numRest; ++k)
    {
        const WalkProgram::Step& step = program.rest[k];
        if (step.code < WalkProgram::C_Move1 || step.code > WalkProgram::C_Move3)
            continue;
        const uint32 size = step.code == WalkProgram::C_Move1   ? 4
                            : step.code == WalkProgram::C_Move2 ? 8
                                                                : 12;
        if (used + 16 > WalkProgram::kTempBytes)
            return false;
        for (uint32 t = 0; t < program.numTemps; ++t)
            if (program.temps[t].at == reinterpret_cast<uint8*>(step.dst.value))
                return false;  // one output made twice
        producer[program.numTemps] = k;
        program.temps[program.numTemps++] = {reinterpret_cast<uint8*>(step.dst.value), size, used};
        used += 16;
    }
    // A step reads an output after the step at `k` made it (a move's own target: when it
    // writes it).
    auto redirect = [&](WalkProgram::Address& a, uint32 k, bool target) -> bool
    {
        if (a.dynMask)
            return true;
        const uint8* at = reinterpret_cast<const uint8*>(a.value);
        for (uint32 t = 0; t < program.numTemps; ++t)
        {
            const WalkProgram::Temp& temp = program.temps[t];
            if (at < temp.at || at >= temp.at + temp.size)
                continue;
            if (target ? producer[t] != k : producer[t] >= k)
                return false;
            a = {temp.offset + static_cast<uintptr_t>(at - temp.at), 0, ~uintptr_t(0)};
            return true;
        }
        return true;
    };
    for (uint32 k = 0; k < program.numRest; ++k)
    {
        WalkProgram::Step step = program.rest[k];
        const bool move = step.code >= WalkProgram::C_Move1 && step.code <= WalkProgram::C_Move3;
        if (!redirect(step.src, k, false) || !redirect(step.src2, k, false) ||
            !redirect(step.dst, k, move))
            return false;
        program.batch[k] = step;
    }
    return true;
}

}  // namespace

bool EmitterInst::buildWalkProgram(WalkProgram& program) const
{
    const Emitter& emitter = *emitter_;
    const bool invariantPublishers = emitter.getNumConnectedEmitters() == 0;
    program.inPlace = invariantPublishers;
    const Emitter::EnumChain chains[] = {Emitter::CH_Update, Emitter::CH_Term};
    const uint8* const area = workingArea_;
    const uint8* const areaEnd = workingArea_ + dynamicSize_;
    auto address = [&](const void* p, uint32 size) -> WalkProgram::Address
    {
        const uint8* at = static_cast<const uint8*>(p);
        if (at >= area && at + size <= areaEnd)
            return {static_cast<uintptr_t>(at - area), ~uintptr_t(0), 0};
        return {reinterpret_cast<uintptr_t>(at), 0, 0};
    };
    auto staticData = [&](const Operation& op) -> const uint8*
    { return staticData_ + op.getEmitterDataOffset(); };
    auto add = [&](const WalkProgram::Step& step, bool firstOnly) -> bool
    {
        if (program.numFirst == WalkProgram::kMaxSteps)
            return false;
        program.first[program.numFirst++] = step;
        if (!firstOnly)
            program.rest[program.numRest++] = step;
        return true;
    };
    auto addOperation = [&](Operation& op) -> bool
    {
        const uint8 type = op.getFactoryType();
        WalkProgram::Step step{WalkProgram::C_Call, &op, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
        switch (type)
        {
        case OF_ParameterLifetime:
            step.code = WalkProgram::C_AddDt;
            step.dst = address(area + op.getParticleDataOffset(), sizeof(float));
            return add(step, false);
        case OF_ParameterFloat:
        case OF_ParameterVec2:
        case OF_ParameterVec3:
        case OF_ParameterQuat:
        {
            // Parameter<T>: its value, first in its particle data, = *input.
            const uint32 size = valueSizeOf(type, OF_ParameterFloat);
            const void* input = *reinterpret_cast<const void* const*>(staticData(op));
            step.code = copyCode(size);
            step.src = address(input, size);
            step.dst = address(area + op.getParticleDataOffset(), size);
            return add(step, false);
        }
        case OF_ParameterUpdaterFloat:
        case OF_ParameterUpdaterVec2:
        case OF_ParameterUpdaterVec3:
        case OF_ParameterUpdaterQuat:
        {
            // ParameterUpdater<T>: *target = *input.
            const uint32 size = valueSizeOf(type, OF_ParameterUpdaterFloat);
            const void* const* data = reinterpret_cast<const void* const*>(staticData(op));
            step.code = copyCode(size);
            step.src = address(data[0], size);
            step.dst = address(data[1], size);
            return add(step, false);
        }
        case OF_FuncMoveFloat:
        case OF_FuncMoveVec2:
        case OF_FuncMoveVec3:
        {
            // FuncMove<T>: out = in[0] + dt * in[1], the output in its emitter data.
            const uint32 size = valueSizeOf(type, OF_FuncMoveFloat);
            const void* const* data = reinterpret_cast<const void* const*>(staticData(op));
            step.code =
                static_cast<WalkProgram::Code>(WalkProgram::C_Move1 + (type - OF_FuncMoveFloat));
            step.src = address(data[0], size);
            step.src2 = address(data[1], size);
            step.dst = address(staticData(op) + offsetof(FuncMove<float>::Data, out), size);
            return add(step, false);
        }
        case OF_ParameterPositionUpdater:
        {
            const void* input = *reinterpret_cast<const void* const*>(staticData(op));
            step.code = WalkProgram::C_Position;
            step.src = address(input, sizeof(glm::vec3));
            return add(step, false);
        }
        default:
            break;
        }
        if (hasNoProcess(type))
            return true;
        if (!publishesValue(type))
            program.inPlace = false;
        return add(step, invariantPublishers && publishesInvariantValue(type));
    };

    for (const Emitter::EnumChain c : chains)
    {
        const Emitter::Chain& chain = emitter.getChain(c);
        for (uint32 k = 0; k < chain.length; ++k)
            if (!addOperation(*chain.operations[k]))
                return false;
    }
    for (uint32 k = 0; k < emitter.getNumTerminators(); ++k)
    {
        Terminator& terminator = emitter.getTerminator(k);
        WalkProgram::Step step{
            WalkProgram::C_Terminate, &terminator, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
        if (terminator.getFactoryType() == OF_TerminatorLess)
        {
            // TerminatorLess: *lesser > *greater.
            const void* const* data = reinterpret_cast<const void* const*>(staticData(terminator));
            step.code = WalkProgram::C_Less;
            step.src = address(data[0], sizeof(float));
            step.dst = address(data[1], sizeof(float));
        }
        else
        {
            program.inPlace = false;
        }
        if (!add(step, false))
            return false;
    }
    program.batched = program.inPlace;
    for (uint32 k = 0; k < program.numRest; ++k)
    {
        const WalkProgram::Step& step = program.rest[k];
        switch (step.code)
        {
        case WalkProgram::C_Position:
        case WalkProgram::C_Less:
        case WalkProgram::C_Move1:
        case WalkProgram::C_Move2:
        case WalkProgram::C_Move3:
            break;
        case WalkProgram::C_AddDt:
        case WalkProgram::C_Copy4:
        case WalkProgram::C_Copy8:
        case WalkProgram::C_Copy12:
        case WalkProgram::C_Copy16:
            // Only targets in the particle's record.
            if (!step.dst.dynMask)
                program.batched = false;
            break;
        default:
            program.batched = false;
            break;
        }
    }
    if (program.batched)
        program.batched = buildBatchSteps(program);
    return true;
}

template <bool InPlace>
void EmitterInst::walkProgram(const WalkProgram& program, float dt)
{
    SystemInst::Stats::Emitter& stats = systemInst_->getStatsEmitter(emitter_->getIndex());
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    uint32 walked = 0;
    uint32 i = *head_;
    std::optional<uint32> prev;
    ParticleInfo* visited = nullptr;
    const uint8* lastRecord = nullptr;  // in place: the record the working area must receive
    bool firstDone = false;
    bool ended = false;

    // The end of a particle's step, in the order of the walk.
    auto finish = [&](uint32 index, uint8* record, bool terminated)
    {
        if (!terminated)
        {
            if (InPlace)
                lastRecord = record;
            else
                std::memcpy(record, workingArea_, dynamicSize_);
            prev = index;
            return;
        }
        if (InPlace)
        {
            // The termination chain sees the particle's data in the working area.
            std::memcpy(workingArea_, record, dynamicSize_);
            lastRecord = nullptr;
        }
        if (!killParticleIfReady(index, prev))
            prev = index;
    };

    while (!ended)
    {
        if (InPlace && firstDone && program.batched)
        {
            // Up to kBatch particles: each step over all of them, then their ends in order.
            constexpr uint32 kBatch = WalkProgram::kBatch;
            uint32 indices[kBatch];
            uint8* records[kBatch];
            bool terminated[kBatch];  // set by runBatch
            alignas(16) uint8 temps[kBatch * WalkProgram::kTempBytes];
            uint32 n = 0;
            uint32 numWaiting = 0;
            while (n < kBatch)
            {
                const uint32 next = links_[i];
                __builtin_prefetch(particle(next));
                __builtin_prefetch(particle(next) + particleStride_ - 1);
                indices[n] = i;
                records[n] = particle(i);
                ParticleInfo* const particleInfo = info(i);
                if (particleInfo->waitingForDelete_)
                    ++numWaiting;
                else
                    particleInfo->dt = dt;
                ++n;
                if (next == i)
                {
                    ended = true;
                    break;
                }
                i = next;
            }
            walked += n;
            if (numWaiting == 0)
            {
                const bool anyTerminated =
                    runBatch(program, records, temps, infoOffset_, terminated, n, dt);
                // The emitter data holds the outputs of the last particle.
                for (uint32 t = 0; t < program.numTemps; ++t)
                    std::memcpy(program.temps[t].at,
                                temps + (n - 1) * WalkProgram::kTempBytes + program.temps[t].offset,
                                program.temps[t].size);
                for (uint32 b = 0; anyTerminated && b < n; ++b)
                {
                    if (!terminated[b])
                    {
                        prev = indices[b];
                        continue;
                    }
                    currentParticleInfo_ = info(indices[b]);
                    prevParticleInfo_ = b ? info(indices[b - 1]) : visited;
                    // The termination chain sees the particle's data in the working area.
                    std::memcpy(workingArea_, records[b], dynamicSize_);
                    if (!killParticleIfReady(indices[b], prev))
                        prev = indices[b];
                }
                if (!anyTerminated)
                    prev = indices[n - 1];
                lastRecord = terminated[n - 1] ? nullptr : records[n - 1];
                prevParticleInfo_ = n > 1 ? info(indices[n - 2]) : visited;
                visited = info(indices[n - 1]);
                currentParticleInfo_ = visited;
                continue;
            }
            // A waiting particle (only possible with connected emitters, which rule the batch
            // out) takes no step: the batch runs one by one then.
            for (uint32 b = 0; b < n; ++b)
            {
                ParticleInfo* const particleInfo = info(indices[b]);
                currentParticleInfo_ = particleInfo;
                prevParticleInfo_ = visited;
                if (particleInfo->waitingForDelete_)
                {
                    for (uint32 c = 0; c < numConnected; ++c)
                        particleInfo->connectedEmitters[c]->update(std::nullopt, std::nullopt, dt);
                    if (!killParticleIfReady(indices[b], prev))
                        prev = indices[b];
                }
                else
                {
                    particleInfo->dt = dt;
                    finish(indices[b], records[b],
                           runSteps(*this, program.rest, program.numRest,
                                    reinterpret_cast<uintptr_t>(records[b]), *particleInfo, dt));
                }
                visited = particleInfo;
            }
            continue;
        }

        ++walked;
        const uint32 next = links_[i];
        // The list runs through the pool in no fixed order: ask for the next record early.
        __builtin_prefetch(particle(next));
        __builtin_prefetch(particle(next) + particleStride_ - 1);
        ParticleInfo* const info = this->info(i);
        currentParticleInfo_ = info;
        prevParticleInfo_ = visited;
        if (info->waitingForDelete_)
        {
            stepWaitingParticle(i, *info, numConnected, prev, dt);
        }
        else
        {
            uint8* const record = particle(i);
            if (!InPlace)
                std::memcpy(workingArea_, record, dynamicSize_);
            info->dt = dt;
            const uintptr_t base = InPlace ? reinterpret_cast<uintptr_t>(record) : 0;
            const bool terminated =
                firstDone ? runSteps(*this, program.rest, program.numRest, base, *info, dt)
                          : runSteps(*this, program.first, program.numFirst, base, *info, dt);
            firstDone = true;
            finish(i, record, terminated);
        }
        visited = info;
        if (next == i)
            break;
        i = next;
    }
    if (InPlace && lastRecord)
        std::memcpy(workingArea_, lastRecord, dynamicSize_);
    stats.numParticles += walked;
}

void EmitterInst::stepWaitingParticle(uint32 i, ParticleInfo& info, uint32 numConnected,
                                      std::optional<uint32>& prev, float dt)
{
    // Its attached emitters run on without it until they are done.
    for (uint32 c = 0; c < numConnected; ++c)
        info.connectedEmitters[c]->update(std::nullopt, std::nullopt, dt);
    if (!killParticleIfReady(i, prev))
        prev = i;
}

void EmitterInst::walkParticles(float dt)
{
    WalkProgram program;
    if (!gWalkPrograms || !buildWalkProgram(program))
    {
        walkGeneric(dt);
        return;
    }
    if (program.inPlace)
    {
        walkProgram<true>(program, dt);
        return;
    }
    // Through the working area, every address is absolute: resolve the offsets once.
    const uintptr_t area = reinterpret_cast<uintptr_t>(workingArea_);
    auto resolveSteps = [area](WalkProgram::Step* steps, uint32 count)
    {
        for (uint32 k = 0; k < count; ++k)
        {
            steps[k].src = {steps[k].src.value + (area & steps[k].src.dynMask), 0, 0};
            steps[k].dst = {steps[k].dst.value + (area & steps[k].dst.dynMask), 0, 0};
            steps[k].src2 = {steps[k].src2.value + (area & steps[k].src2.dynMask), 0, 0};
        }
    };
    resolveSteps(program.first, program.numFirst);
    resolveSteps(program.rest, program.numRest);
    walkProgram<false>(program, dt);
}

bool EmitterInst::killParticleIfReady(uint32 i, std::optional<uint32> prev)
{
    ParticleInfo* const info = this->info(i);
    if (!info->waitingForDelete_)
        emitter_->processParticleTerminationChain(*this);
    info->waitingForDelete_ = true;
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    for (uint32 c = 0; c < numConnected; ++c)
    {
        const EmitterInst& child = *info->connectedEmitters[c];
        if (child.isActive() || child.getNumActiveParticles() > 0)
            return false;
    }

    const uint32 next = links_[i];
    const bool wasTail = next == i;
    links_[i] = freeHead_ ? *freeHead_ : i;
    freeHead_ = i;
    if (prev)
        links_[*prev] = wasTail ? *prev : next;
    else if (wasTail)
        head_.reset();
    else
        head_ = next;

    DEBUG_ASSERT(numActiveParticles_ > 0);
    --numActiveParticles_;
    if (gLinkageChecks)
        assertLinkage();
    return true;
}

void EmitterInst::shootParticles(uint32 count, float dt, float& interp)
{
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;
    if (count == 0 || !freeHead_)
        return;
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    for (uint32 n = 0; n < count && freeHead_; ++n)
    {
        const uint32 i = *freeHead_;
        if (links_[i] == i)
            freeHead_.reset();
        else
            freeHead_ = links_[i];
        links_[i] = head_ ? *head_ : i;
        head_ = i;

        interp = count == 1 ? 1.0f : static_cast<float>(n) / static_cast<float>(count - 1);

        prevParticleInfo_ = currentParticleInfo_;
        uint8* const record = particle(i);
        ParticleInfo* const info = reinterpret_cast<ParticleInfo*>(record + infoOffset_);
        currentParticleInfo_ = info;
        info->waitingForDelete_ = false;
        info->dt = dt;
        info->position = position_;
        info->connectedEmitters = reinterpret_cast<EmitterInst**>(record + connectedOffset_);
        if (numConnected)
        {
            // Each child instance is placed at once, so that no particle ever holds an unmade
            // one; the init chain's Ps::ParameterEmitterIniter makes it anew as it wants it.
            uint8* block = record + connectedOffset_ +
                           Allocator::alignedArray(numConnected, sizeof(EmitterInst*));
            for (uint32 c = 0; c < numConnected; ++c)
            {
                const Emitter& connected = *emitter_->getConnectedEmitter(c).emitter;
                info->connectedEmitters[c] =
                    createInPool(block, *systemInst_, connected, position_, kIdentity);
                block += computePoolSizeWithInstObject(connected);
            }
        }
        ++numActiveParticles_;
        emitter_->processInitChain(*this, n == 0);
        std::memcpy(record, workingArea_, dynamicSize_);
    }
}

void EmitterInst::sort(const glm::vec3& cameraDir)
{
    const uint32 n = numActiveParticles_;
    if (!head_ || n == 0)
        return;
    uint32 k = 0;
    uint32 i = *head_;
    switch (emitter_->getSorting())
    {
    case ES_OlderFirst:
        for (;;)
        {
            sortArray_[k++] = {i, 0.0f};
            if (links_[i] == i)
                break;
            i = links_[i];
        }
        break;
    case ES_YoungerFirst:
        for (;;)
        {
            sortArray_[n - 1 - k++] = {i, 0.0f};
            if (links_[i] == i)
                break;
            i = links_[i];
        }
        break;
    default:
        for (;;)
        {
            sortArray_[k++] = {i, glm::dot(cameraDir, info(i)->position)};
            if (links_[i] == i)
                break;
            i = links_[i];
        }
        std::sort(sortArray_, sortArray_ + n,
                  [](const SortInfo& a, const SortInfo& b) { return a.distance > b.distance; });
        break;
    }
    DEBUG_ASSERT(k == n);
}

const RenderConfig::Emitter*
EmitterInst::configEntry(const std::optional<RenderConfig>& config) const
{
    if (!config)
        return nullptr;
    const uint32 index = emitter_->getIndex();
    DEBUG_ASSERT(index < config->emitters.size());
    return &config->emitters[index];
}

void EmitterInst::preProcessWalk(const glm::mat3& camera, bool skipWaiting)
{
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;
    uint32 i = *head_;
    for (;;)
    {
        ParticleInfo* const info = this->info(i);
        if (!(skipWaiting && info->waitingForDelete_))
        {
            prevParticleInfo_ = currentParticleInfo_;
            currentParticleInfo_ = info;
            DEBUG_ASSERT(!currentParticleInfo_->waitingForDelete_);
            uint8* const record = particle(i);
            std::memcpy(workingArea_, record, dynamicSize_);
            emitter_->preProcessConstructorChain(*this, camera);
            std::memcpy(record, workingArea_, dynamicSize_);
        }
        if (links_[i] == i)
            break;
        i = links_[i];
    }
}

void EmitterInst::constructParticle(uint32 i, bool preprocessed, const glm::mat3& camera)
{
    prevParticleInfo_ = currentParticleInfo_;
    currentParticleInfo_ = info(i);
    uint8* const record = particle(i);
    Constructor& constructor = *emitter_->getConstructor();
    Mesh& mesh = systemInst_->getMesh(constructor.getMeshIndex());
    std::memcpy(workingArea_, record, dynamicSize_);
    if (preprocessed)
        emitter_->processPreprocessedConstructorChain(*this, mesh, camera);
    else
        emitter_->processConstructorChain(*this, mesh, camera);
    std::memcpy(record, workingArea_, dynamicSize_);
}

void EmitterInst::construct(const glm::mat3& camera, const std::optional<RenderConfig>& config)
{
    if (!head_)
        return;
    if (emitter_->getNumConnectedEmitters() == 0)
        constructAlone(camera, config);
    else if (!emitter_->getConstructor())
        constructAsParentWithoutConstructor(camera, config);
    else
        constructAsParent(camera, config);
}

void EmitterInst::constructAlone(const glm::mat3& camera, const std::optional<RenderConfig>& config)
{
    const RenderConfig::Emitter* entry = configEntry(config);
    if (entry && !entry->render)
        return;
    const bool renderPositions = entry && entry->renderPositions;
    Constructor* constructor = emitter_->getConstructor();
    if (!constructor)
    {
        if (renderPositions)
        {
            sort(camera[2]);
            for (uint32 k = 0; k < numActiveParticles_; ++k)
                systemInst_->addParticleToPositionsMesh(info(sortArray_[k].index)->position,
                                                        entry->positionsId);
        }
        return;
    }
    const bool preprocessed = constructor->hasPreProcess();
    if (preprocessed)
        preProcessWalk(camera, false);
    Mesh& mesh = systemInst_->getMesh(constructor->getMeshIndex());
    const uint32 start = mesh.getNumIndices();
    sort(camera[2]);
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;
    for (uint32 k = 0; k < numActiveParticles_; ++k)
    {
        const uint32 i = sortArray_[k].index;
        constructParticle(i, preprocessed, camera);
        if (renderPositions)
            systemInst_->addParticleToPositionsMesh(info(i)->position, entry->positionsId);
    }
    const uint32 polygons = (mesh.getNumIndices() - start) / 3;
    systemInst_->getStatsEmitter(emitter_->getIndex()).numPolygons += polygons;
    if (polygons)
        systemInst_->pushRenderCall(constructor->getMeshIndex(), constructor->getRenderStyleIndex(),
                                    polygons, entry ? entry->wireframeId : std::nullopt);
}

void EmitterInst::constructChildren(uint32 i, bool drawBefore, const glm::mat3& camera,
                                    const std::optional<RenderConfig>& config)
{
    const ParticleInfo& particleInfo = *info(i);
    const uint32 numConnected = emitter_->getNumConnectedEmitters();
    for (uint32 c = 0; c < numConnected; ++c)
        if (emitter_->getConnectedEmitter(c).drawBefore == drawBefore)
            particleInfo.connectedEmitters[c]->construct(camera, config);
}

void EmitterInst::constructAsParent(const glm::mat3& camera,
                                    const std::optional<RenderConfig>& config)
{
    const RenderConfig::Emitter* entry = configEntry(config);
    const bool render = !entry || entry->render;
    const bool renderPositions = render && entry && entry->renderPositions;
    Constructor& constructor = *emitter_->getConstructor();
    const bool preprocessed = constructor.hasPreProcess();
    // A particle waiting for its children to end is no longer drawn: the pre-process passes it by.
    if (render && preprocessed)
        preProcessWalk(camera, true);
    Mesh& mesh = systemInst_->getMesh(constructor.getMeshIndex());
    sort(camera[2]);
    currentParticleInfo_ = nullptr;
    prevParticleInfo_ = nullptr;
    SystemInst::Stats::Emitter& stats = systemInst_->getStatsEmitter(emitter_->getIndex());
    for (uint32 k = 0; k < numActiveParticles_; ++k)
    {
        const uint32 i = sortArray_[k].index;
        constructChildren(i, true, camera, config);
        const bool waiting = info(i)->waitingForDelete_;
        if (render && !waiting)
        {
            const uint32 start = mesh.getNumIndices();
            constructParticle(i, preprocessed, camera);
            const uint32 polygons = (mesh.getNumIndices() - start) / 3;
            stats.numPolygons += polygons;
            if (polygons)
                systemInst_->pushRenderCall(constructor.getMeshIndex(),
                                            constructor.getRenderStyleIndex(), polygons,
                                            entry ? entry->wireframeId : std::nullopt);
        }
        if (renderPositions && !waiting)
            systemInst_->addParticleToPositionsMesh(info(i)->position, entry->positionsId);
        constructChildren(i, false, camera, config);
    }
}

void EmitterInst::constructAsParentWithoutConstructor(const glm::mat3& camera,
                                                      const std::optional<RenderConfig>& config)
{
    const RenderConfig::Emitter* entry = configEntry(config);
    const bool renderPositions = entry && entry->render && entry->renderPositions;
    sort(camera[2]);
    for (uint32 k = 0; k < numActiveParticles_; ++k)
    {
        const uint32 i = sortArray_[k].index;
        constructChildren(i, true, camera, config);
        if (renderPositions && !info(i)->waitingForDelete_)
            systemInst_->addParticleToPositionsMesh(info(i)->position, entry->positionsId);
        constructChildren(i, false, camera, config);
    }
}

void EmitterInst::assertLinkage() const
{
    const uint32 n = emitter_->getMaxNumParticles();
    // The sort array serves as the marks; it is rebuilt by each sort.
    for (uint32 i = 0; i < n; ++i)
        sortArray_[i].index = 0;
    uint32 numActive = 0;
    if (head_)
    {
        uint32 i = *head_;
        for (;;)
        {
            DEBUG_ASSERT(i < n);
            DEBUG_ASSERT(sortArray_[i].index == 0);
            sortArray_[i].index = 1;
            ++numActive;
            if (links_[i] == i)
                break;
            i = links_[i];
        }
    }
    DEBUG_ASSERT(numActive == numActiveParticles_);
    uint32 numFree = 0;
    if (freeHead_)
    {
        uint32 i = *freeHead_;
        for (;;)
        {
            DEBUG_ASSERT(i < n);
            DEBUG_ASSERT(sortArray_[i].index == 0);
            sortArray_[i].index = 2;
            ++numFree;
            if (links_[i] == i)
                break;
            i = links_[i];
        }
    }
    DEBUG_ASSERT(numActive + numFree == n);
}

void EmitterInst::setLinkageChecks(bool on) { gLinkageChecks = on; }

EmitterInst::EnumWalk EmitterInst::getWalk() const
{
    WalkProgram program;
    if (!gWalkPrograms || !buildWalkProgram(program))
        return WK_General;
    if (!program.inPlace)
        return WK_WorkingArea;
    return program.batched ? WK_Batches : WK_InPlace;
}

void EmitterInst::setWalkPrograms(bool on) { gWalkPrograms = on; }

bool EmitterInst::walkPrograms() { return gWalkPrograms; }

bool EmitterInst::linkageChecks() { return gLinkageChecks; }

}  // namespace Ps
