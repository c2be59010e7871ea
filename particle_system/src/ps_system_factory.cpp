#include "particle_system/ps_system_factory.h"

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_emitter.h"
#include "particle_system/ps_emitter_factory.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_mesh_factory.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_inst.h"
#include "particle_system/ps_value_io.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_scoped_group.h"

#include <limits>
#include <new>
#include <vector>

namespace Ps
{

namespace
{

// The system object: the pool's only System.
class SystemInPool final : public System
{
public:
    using System::System;
};

HostError makeError(HostErrorKind kind, std::string message,
                    std::optional<uint64> offset = std::nullopt)
{
    HostError error;
    error.kind = kind;
    error.message = std::move(message);
    error.offset = offset;
    return error;
}

// Where loading `data` stops with a stream failure or a broken check: the two passes again, the
// second into a scratch pool. Nothing when they don't stop (or the pool can't be had).
std::optional<uint64> locateLoadFailure(const uint8* data, uint32 size, const Context& context)
{
    uint32 poolSize = 0;
    {
        std::unique_ptr<Sl::LoaderBinArray> loader;
        try
        {
            // The loader reads the header byte as it is made: a failure there is at byte 0.
            loader = std::make_unique<Sl::LoaderBinArray>(data, size);
        }
        catch (const Sl::Exception&)
        {
            return 0;
        }
        try
        {
            poolSize = SystemFactory::computePoolSize(*loader, context);
        }
        catch (const Sl::Exception&)
        {
            return loader->position();
        }
        catch (const Debug::CheckException&)
        {
            return loader->position();
        }
    }
    if (poolSize > context.getMemoryBudget())
        return std::nullopt;
    std::unique_ptr<uint8[]> pool(new (std::nothrow) uint8[poolSize ? poolSize : 1]());
    if (!pool)
        return std::nullopt;
    Sl::LoaderBinArray loader(data, size);
    Allocator allocator(pool.get(), poolSize);
    try
    {
        SystemFactory::staticCreateFromLoader(loader, context, allocator);
    }
    catch (const Sl::Exception&)
    {
        return loader.position();
    }
    catch (const Debug::CheckException&)
    {
        return loader.position();
    }
    return std::nullopt;
}

std::string atByte(std::optional<uint64> offset)
{
    return offset ? " at byte " + std::to_string(*offset) : std::string();
}

// What a call of the host's interface threw, as a value. `what` names the object in the
// messages of memory ("to load the effect").
HostError describeCurrentException(const char* what)
{
    try
    {
        throw;
    }
    catch (const LimitException& e)
    {
        return makeError(e.getKind() == LimitException::LK_UpdateTime ? HostErrorKind::UpdateTime
                                                                      : HostErrorKind::Limit,
                         e.what());
    }
    catch (const Debug::CheckException& e)
    {
        return makeError(HostErrorKind::Failed, std::string("a check failed: ") + e.what());
    }
    catch (const std::bad_alloc&)
    {
        return makeError(HostErrorKind::OutOfMemory,
                         std::string("there is not enough memory ") + what);
    }
    catch (const std::exception& e)
    {
        return makeError(HostErrorKind::Failed, e.what());
    }
    catch (...)
    {
        return makeError(HostErrorKind::Failed, "an unknown failure");
    }
}

}  // namespace

LoadResult loadSystem(const uint8* data, uint64 size, Context& context) noexcept
{
    LoadResult result;
    try
    {
        if (size > std::numeric_limits<uint32>::max())
        {
            result.error =
                makeError(HostErrorKind::Limit, "the effect is too large: " + std::to_string(size) +
                                                    " bytes, more than a compiled effect may have");
            return result;
        }
        const auto size32 = static_cast<uint32>(size);
        try
        {
            result.shell = std::make_unique<MemManagedSystemShell>(data, size32, context);
        }
        catch (const LimitException&)
        {
            result.error = describeCurrentException("to load the effect");
        }
        catch (const Sl::Exception& e)
        {
            const std::optional<uint64> at = locateLoadFailure(data, size32, context);
            if (dynamic_cast<const Sl::EndOfBufferException*>(&e))
                result.error = makeError(HostErrorKind::DataEndsEarly,
                                         "the data ends too early" + atByte(at), at);
            else if (dynamic_cast<const Sl::OldLoaderVersionException*>(&e))
                result.error = makeError(HostErrorKind::NewerFormat,
                                         "a part of the data" + atByte(at) +
                                             " was written by a newer version of the program",
                                         at);
            else if (dynamic_cast<const Sl::WrongTypeException*>(&e))
                result.error = makeError(
                    HostErrorKind::Damaged,
                    "a value" + atByte(at) + " is of another type than the one expected there", at);
            else
                result.error =
                    makeError(HostErrorKind::Damaged, "the data is damaged" + atByte(at), at);
        }
        catch (const Debug::CheckException&)
        {
            const std::optional<uint64> at = locateLoadFailure(data, size32, context);
            result.error =
                makeError(HostErrorKind::Damaged, "the effect is damaged" + atByte(at), at);
        }
        catch (...)
        {
            result.error = describeCurrentException("to load the effect");
        }
    }
    catch (...)
    {
        // Only the making of a message can fail here, for want of memory.
        result.shell.reset();
        result.error.kind = HostErrorKind::OutOfMemory;
    }
    return result;
}

InstResult createSystemInst(const System& system, const glm::vec3& position,
                            const glm::quat& rotation) noexcept
{
    InstResult result;
    try
    {
        try
        {
            result.inst = std::make_unique<MemManagedSystemInst>(system, position, rotation);
        }
        catch (...)
        {
            result.error = describeCurrentException("to make an instance of the effect");
        }
    }
    catch (...)
    {
        result.error.kind = HostErrorKind::OutOfMemory;
    }
    return result;
}

HostError updateSystemInst(SystemInst& inst, const glm::vec3& position, const glm::quat& rotation,
                           float dt) noexcept
{
    try
    {
        try
        {
            inst.update(position, rotation, dt);
            return HostError();
        }
        catch (...)
        {
            return describeCurrentException("to update the instance");
        }
    }
    catch (...)
    {
        HostError error;
        error.kind = HostErrorKind::OutOfMemory;
        return error;
    }
}

HostError constructSystemInst(SystemInst& inst, const glm::vec3& cameraDir,
                              const glm::vec3& cameraUp, const glm::vec3& cameraRight,
                              const std::optional<RenderConfig>& config) noexcept
{
    try
    {
        try
        {
            inst.construct(cameraDir, cameraUp, cameraRight, config);
            return HostError();
        }
        catch (...)
        {
            return describeCurrentException("to build the geometry");
        }
    }
    catch (...)
    {
        HostError error;
        error.kind = HostErrorKind::OutOfMemory;
        return error;
    }
}

SystemFactory::SystemFactory(const Context& context) : context_(context) {}

SystemFactory::~SystemFactory() = default;

uint32 SystemFactory::computePoolSize(Sl::Loader& loader, const Context& context)
{
    uint64 size = 0;
    loader.skipGroup();  // "revision"

    const uint32 numMaterials = readU32(loader);
    size += Allocator::alignedArray(numMaterials, sizeof(EnumMaterial));
    for (uint32 i = 0; i < numMaterials; ++i)
        loader.skipUint8();

    const uint32 numTextures = readU32(loader);
    size += Allocator::alignedArray(numTextures, sizeof(const char*));
    for (uint32 i = 0; i < numTextures; ++i)
    {
        const uint32 dataSize = readU32(loader);
        // The same check as the second pass, so that a broken name is reported alike.
        DEBUG_ASSERT(dataSize == loader.readBinarySize());
        size += Allocator::aligned(dataSize);
        Allocator::checkedSize(size);
        // The bytes must be in the stream before they are read into a buffer of their size.
        if (dataSize > loader.maxDataLeft())
            throw Sl::EndOfBufferException();
        std::vector<uint8> name(dataSize);
        loader.readBinaryData(name.data());
    }
    size += Allocator::alignedArray(numTextures ? numTextures : 1, sizeof(TextureFrame));

    const uint32 numRenderStyles = readU32(loader);
    size += Allocator::alignedArray(numRenderStyles, sizeof(RenderStyle));
    for (uint32 i = 0; i < numRenderStyles; ++i)
    {
        loader.skipUint16();
        const uint32 numTex = readU8(loader);
        DEBUG_ASSERT(numTex <= RenderStyle::kMaxTexChannels);
        for (uint32 t = 0; t < numTex; ++t)
            loader.skipUint16();
    }

    const uint32 numMeshes = readU32(loader);
    size += Allocator::alignedArray(numMeshes, sizeof(MeshFactory*));
    for (uint32 i = 0; i < numMeshes; ++i)
    {
        const uint32 maxNumParticles = readU32(loader);
        DEBUG_ASSERT(maxNumParticles <= kMaxMeshParticles);
        const uint8 type = readU8(loader);
        size += Allocator::aligned(context.getMeshFactory(type).computePoolSize(loader));
        Allocator::checkedSize(size);
    }

    size += Allocator::aligned(sizeof(SystemInPool));

    const uint32 numEmitters = readU32(loader);
    size += Allocator::alignedArray(numEmitters, sizeof(Emitter*));
    for (uint32 i = 0; i < numEmitters; ++i)
    {
        size += EmitterFactory::computePoolSize(loader, context);
        Allocator::checkedSize(size);
    }

    loader.skipUint32();  // "num_rcalls"
    // The time bounds are checked here already, so that such an effect gets no pool at all.
    const float fps = readF32(loader);
    Limits::checkFrameRate(fps);
    loader.skipGroup();  // "seed"
    Limits::checkPresimTime(readF32(loader), fps, 1.0f / fps);
    return Allocator::checkedSize(size);
}

System* SystemFactory::staticCreateFromLoader(Sl::Loader& loader, const Context& context,
                                              Allocator& allocator)
{
    SystemFactory factory(context);
    return factory.createFromLoader(loader, allocator);
}

System* SystemFactory::createFromLoader(Sl::Loader& loader, Allocator& allocator)
{
    System::Init init;
    init.context = &context_;
    loader.skipGroup();  // "revision"

    init.numMaterials = readU32(loader);
    EnumMaterial* materials = allocator.allocArray<EnumMaterial>(init.numMaterials);
    for (uint32 i = 0; i < init.numMaterials; ++i)
        materials[i] = static_cast<EnumMaterial>(readU8(loader));
    init.materials = materials;

    init.numTextures = readU32(loader);
    const char** textures = allocator.allocArray<const char*>(init.numTextures);
    for (uint32 i = 0; i < init.numTextures; ++i)
    {
        const uint32 dataSize = readU32(loader);
        DEBUG_ASSERT(dataSize == loader.readBinarySize());
        uint8* name = allocator.alloc(dataSize);
        loader.readBinaryData(name);
        // A name is stored with its terminating NUL.
        DEBUG_ASSERT(dataSize > 0 && name[dataSize - 1] == 0);
        textures[i] = reinterpret_cast<const char*>(name);
    }
    init.textures = textures;
    const uint32 numFrames = init.numTextures ? init.numTextures : 1;
    TextureFrame* frames = allocator.allocArray<TextureFrame>(numFrames);
    for (uint32 i = 0; i < numFrames; ++i)
        new (&frames[i]) TextureFrame();
    init.textureFrames = frames;

    init.numRenderStyles = readU32(loader);
    numRenderStyles_ = init.numRenderStyles;
    RenderStyle* styles = allocator.allocArray<RenderStyle>(init.numRenderStyles);
    for (uint32 i = 0; i < init.numRenderStyles; ++i)
    {
        RenderStyle& style = styles[i];
        style.materialIndex = readU16(loader);
        style.numTexChannels = readU8(loader);
        DEBUG_ASSERT(style.numTexChannels <= RenderStyle::kMaxTexChannels);
        for (uint32 t = 0; t < RenderStyle::kMaxTexChannels; ++t)
            style.textureIndices[t] = t < style.numTexChannels ? readU16(loader) : 0;
    }
    init.renderStyles = styles;

    init.numMeshes = readU32(loader);
    numMeshes_ = init.numMeshes;
    const MeshFactory** meshFactories = allocator.allocArray<const MeshFactory*>(init.numMeshes);
    for (uint32 i = 0; i < init.numMeshes; ++i)
    {
        const uint32 maxNumParticles = readU32(loader);
        DEBUG_ASSERT(maxNumParticles <= kMaxMeshParticles);
        const uint8 type = readU8(loader);
        meshFactories[i] = context_.getMeshFactory(type).create(loader, maxNumParticles, allocator);
        meshTypes_.push_back(type);
        meshCapacities_.push_back(maxNumParticles);
    }
    init.meshFactories = meshFactories;

    system_ = allocator.create<SystemInPool>(init);

    numEmitters_ = readU32(loader);
    emitters_ = allocator.allocArray<const Emitter*>(numEmitters_);
    for (uint32 i = 0; i < numEmitters_; ++i)
    {
        emitterFactories_.push_back(std::make_unique<EmitterFactory>(*this, i));
        Emitter* emitter = emitterFactories_.back()->createFromLoader(loader, allocator);
        emitter->setSystem(*system_, i);
        emitters_[i] = emitter;
        filledEmitters_ = i + 1;
    }
    system_->setEmitters(emitters_, numEmitters_);

    const uint32 maxNumRenderCalls = readU32(loader);
    const float fps = readF32(loader);
    // A frame must have a positive, bounded length, or update() would never use time up, or
    // would spend without bound on one frame.
    Limits::checkFrameRate(fps);
    const float frameTime = 1.0f / fps;
    std::optional<uint32> seed;
    {
        Sl::ScopedLoaderGroup group(loader, 0);
        const uint8 seedType = readU8(loader);
        if (seedType == SST_Fixed)
            seed = readU32(loader);
    }
    const float presimTime = readF32(loader);
    Limits::checkPresimTime(presimTime, fps, frameTime);
    system_->setTail(maxNumRenderCalls, frameTime, seed, presimTime);

    checkMeshCapacities();
    return system_;
}

const Emitter& SystemFactory::getEmitter(uint32 emitterIndex) const
{
    const uint32 index = emitterIndex;
    DEBUG_ASSERT(index < numEmitters_);
    DEBUG_ASSERT(emitterIndex < filledEmitters_);
    return *emitters_[emitterIndex];
}

EmitterFactory& SystemFactory::getEmitterFactory(uint32 emitterIndex) const
{
    const uint32 index = emitterIndex;
    DEBUG_ASSERT(index < numEmitters_);
    DEBUG_ASSERT(emitterIndex < filledEmitters_);
    return *emitterFactories_[emitterIndex];
}

uint32 SystemFactory::getMeshFactoryType(uint32 meshIndex) const
{
    DEBUG_ASSERT(meshIndex < numMeshes_);
    return meshTypes_[meshIndex];
}

// A constructor writes into its mesh, at most once per particle of each of its emitter's
// instances, without checks of its own: the meshes must have room for all of them, and be of
// the kind of the constructor.
void SystemFactory::checkMeshCapacities() const
{
    const uint64 kLimit = Allocator::kMaxPoolSize;
    std::vector<uint64> instances(numEmitters_, 0);
    std::vector<uint64> load(numMeshes_, 0);
    for (uint32 e = numEmitters_; e-- > 0;)
    {
        const Emitter& emitter = *emitters_[e];
        if (emitter.isStandalone())
            instances[e] += 1;
        DEBUG_ASSERT(instances[e] <= kLimit);
        const uint64 particles = instances[e] * emitter.getMaxNumParticles();
        DEBUG_ASSERT(particles <= kLimit);
        for (uint32 c = 0; c < emitter.getNumConnectedEmitters(); ++c)
        {
            const uint32 child = system_->getEmitterIndex(*emitter.getConnectedEmitter(c).emitter);
            instances[child] += particles;
        }
        if (const Constructor* constructor = emitter.getConstructor())
        {
            const std::optional<EnumOperationFactories> type =
                emitterFactories_[e]->getConstructorType();
            const uint32 mesh = constructor->getMeshIndex();
            if (type == OF_ConstructorQuads)
                DEBUG_ASSERT(meshTypes_[mesh] == MF_Quads);
            else if (type == OF_ConstructorStrip)
                DEBUG_ASSERT(meshTypes_[mesh] == MF_Strip);
            load[mesh] += particles;
            DEBUG_ASSERT(load[mesh] <= meshCapacities_[mesh]);
        }
    }
}

}  // namespace Ps
