#pragma once

#include "particle_layout_model/plm_block_param.h"
#include "particle_system/ps_operation_factory.h"

namespace Plm
{

// Writes the operation of a plain global value: its factory code and an empty group; its one
// output is the block's output 0.
void exportPlainGlobal(EmitterExportCompilerBin& compiler, unsigned int operId,
                       Ps::EnumOperationFactories factory);

// A global value of the emitter that the runtime provides: no properties, one output 0 of
// type `kType`, and an empty group of the kind's factory name. It compiles to the runtime's
// operation `kFactory`.
template <class Derived, EnumConnectorType kType, Ps::EnumOperationFactories kFactory>
class BlockGlobPlain : public BlockGlob
{
public:
    static std::unique_ptr<Derived> create()
    {
        std::unique_ptr<Derived> block(new Derived());
        block->updateConnectors();
        return block;
    }

    void updateConnectors() override
    {
        const BlockConnectorDesc out = outputDesc(kType, 0);
        resetConnectors(&out, 1);
    }

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override
    {
        exportPlainGlobal(compiler, operId, kFactory);
    }

protected:
    BlockGlobPlain() = default;
    explicit BlockGlobPlain(LoadFlag flag) : BlockGlob(flag) {}
    BlockGlobPlain(const BlockGlobPlain& other) : BlockGlob(other) {}

    std::unique_ptr<Block> copyImpl() const override
    {
        return std::unique_ptr<Block>(new Derived(static_cast<const Derived&>(*this)));
    }
    // No properties: nothing to follow but the connectors.
    void syncReflectionImpl(const BlockSyncer&) override {}
    void saveImpl(Sl::RevisionSaver& saver) const override
    {
        Sl::ScopedSaverGroup group(Derived::getStaticFactoryName().str().c_str(), saver, 0);
    }
    void loadImpl(Sl::RevisionLoader& loader) override { Sl::ScopedLoaderGroup group(loader, 0); }
};

#define PLM_BLOCK_GLOB_PLAIN(ClassName, factoryName, type, factory)                                \
    class ClassName : public BlockGlobPlain<ClassName, type, factory>                              \
    {                                                                                              \
        PLM_BLOCK_KIND(ClassName, factoryName)                                                     \
        friend class BlockGlobPlain<ClassName, type, factory>;                                     \
                                                                                                   \
    protected:                                                                                     \
        ClassName() = default;                                                                     \
        explicit ClassName(LoadFlag flag) : BlockGlobPlain(flag) {}                                \
        ClassName(const ClassName& other) : BlockGlobPlain(other) {}                               \
    };

// The emitter's position, direction and rotation in the world.
PLM_BLOCK_GLOB_PLAIN(BlockGlobEmitterPos, "glob_emitter_pos", CT_Vec3, Ps::OF_GlobEmitterPos)
PLM_BLOCK_GLOB_PLAIN(BlockGlobEmitterDir, "glob_emitter_dir", CT_Vec3, Ps::OF_GlobEmitterDir)
PLM_BLOCK_GLOB_PLAIN(BlockGlobEmitterRot, "glob_emitter_rot", CT_Quat, Ps::OF_GlobEmitterRot)
// The number of live particles.
PLM_BLOCK_GLOB_PLAIN(BlockGlobNumParticles, "glob_num_particles", CT_Float, Ps::OF_GlobNumParticles)
// The emitter's time, and the effect's.
PLM_BLOCK_GLOB_PLAIN(BlockGlobTime, "glob_time", CT_Float, Ps::OF_GlobTime)
PLM_BLOCK_GLOB_PLAIN(BlockGlobSystemTime, "glob_system_time", CT_Float, Ps::OF_GlobSystemTime)

#undef PLM_BLOCK_GLOB_PLAIN

}  // namespace Plm
