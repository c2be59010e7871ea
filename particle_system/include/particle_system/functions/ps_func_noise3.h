#pragma once

#include <glm/vec3.hpp>

#include "particle_system/functions/ps_func_noise3_eval.h"
#include "particle_system/functions/ps_func_operation.h"

namespace Ps
{

class ImageNoise3;

// Smooth noise of the context's noise image at a moving point. Fields:
// "input" In (vec3); "smoothness" Ext<float>; "type" u8 (EnumFuncNoise3Type);
// "range_scale" Ext<float>; "range_low", "range_high", "animation" vec3;
// "additive" bool. Output: vec3.
class FuncNoise3 final : public FuncOperation<glm::vec3, 3, 1>
{
public:
    FuncNoise3(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);
    void process(EmitterInst& inst, float dt) override;

    const FuncNoise3Params& getParams() const { return params_; }

private:
    const ImageNoise3* image_;
    FuncNoise3Params params_;
};

}  // namespace Ps
