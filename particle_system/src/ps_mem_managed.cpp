#include <new>

#include "particle_system/ps_allocator.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_inst.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system.h"
#include "particle_system/ps_system_factory.h"
#include "particle_system/ps_system_inst.h"
#include "revision_saveload/sl_loader_bin_array.h"

namespace Ps
{

MemManagedContext::MemManagedContext() : poolSize_(Context::poolSizeToCreate())
{
    pool_.reset(new uint8[poolSize_]());
    Allocator allocator(pool_.get(), poolSize_);
    context_ = Context::create(allocator);
    DEBUG_ASSERT(allocator.getUsedSize() == poolSize_);
}

MemManagedContext::~MemManagedContext() = default;

MemManagedSystemShell::MemManagedSystemShell(const uint8* data, uint32 size, Context& context)
{
    {
        Sl::LoaderBinArray loader(data, size);
        poolSize_ = SystemFactory::computePoolSize(loader, context);
    }
    Limits::checkMemory(poolSize_, context.getMemoryBudget(), "the compiled effect");
    pool_.reset(new uint8[poolSize_ ? poolSize_ : 1]());
    Sl::LoaderBinArray loader(data, size);
    Allocator allocator(pool_.get(), poolSize_);
    system_ = SystemFactory::staticCreateFromLoader(loader, context, allocator);
    usedPoolSize_ = allocator.getUsedSize();
    // The second pass builds exactly what the first one counted.
    DEBUG_ASSERT(usedPoolSize_ == poolSize_);
}

MemManagedSystemShell::~MemManagedSystemShell() = default;

MemManagedSystemInst::MemManagedSystemInst(const System& system, const glm::vec3& position,
                                           const glm::quat& rotation)
{
    SystemInst::checkMemoryBudget(system);
    const uint32 objectSize = Allocator::aligned(sizeof(SystemInst));
    blockSize_ = Allocator::checkedSize(static_cast<uint64>(objectSize) +
                                        SystemInst::computePoolSize(system));
    // Zeroed, so that the padding between particle values is the same in every run.
    block_.reset(new uint8[blockSize_]());
    inst_ = new (block_.get()) SystemInst(block_.get() + objectSize, system, position, rotation);
}

MemManagedSystemInst::~MemManagedSystemInst()
{
    if (inst_)
        inst_->~SystemInst();
}

}  // namespace Ps
