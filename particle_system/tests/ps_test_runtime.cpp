#include "ps_test_runtime.h"

#include <gtest/gtest.h>

namespace PsTest
{

Ps::Context& context()
{
    static Ps::MemManagedContext holder;
    return holder.get();
}

std::unique_ptr<Ps::MemManagedSystemShell> load(const std::vector<uint8_t>& bytes)
{
    auto shell = std::make_unique<Ps::MemManagedSystemShell>(
        bytes.data(), static_cast<uint32_t>(bytes.size()), context());
    EXPECT_EQ(shell->getUsedPoolSize(), shell->getPoolSize());
    return shell;
}

Running run(const std::vector<uint8_t>& bytes, const glm::vec3& position, const glm::quat& rotation)
{
    Running r;
    r.shell = load(bytes);
    r.inst = std::make_unique<Ps::MemManagedSystemInst>(r.shell->getSystem(), position, rotation);
    return r;
}

std::vector<uint32_t> activeParticles(const Ps::EmitterInst& inst)
{
    std::vector<uint32_t> result;
    std::optional<uint32_t> head = inst.getHead();
    if (!head)
        return result;
    uint32_t i = *head;
    for (;;)
    {
        result.push_back(i);
        if (inst.getLink(i) == i)
            break;
        i = inst.getLink(i);
    }
    return result;
}

std::vector<glm::vec3> activePositions(const Ps::EmitterInst& inst)
{
    std::vector<glm::vec3> result;
    for (uint32_t i : activeParticles(inst))
        result.push_back(inst.getParticleInfoAt(i).position);
    return result;
}

}  // namespace PsTest
