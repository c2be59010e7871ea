#pragma once

#include <glm/vec2.hpp>

#include "particle_system/functions/ps_func_area_image.h"
#include "particle_system/functions/ps_func_operation.h"

namespace Ps
{

// A point of a painted area, with a probability proportional to the paint.
// Fields: "input" In (float, normally a random share); "x", "y" i32; "width",
// "height", "opt_width", "opt_height" u16; "v" the weights. Output: vec2.
class FuncArea final : public FuncOperation<glm::vec2, 1, 1>
{
public:
    FuncArea(Sl::Loader& loader, EmitterFactory& factory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);
    void process(EmitterInst& inst, float dt) override;

    const FuncAreaImage& getImage() const { return image_; }

private:
    FuncAreaImage image_;
};

}  // namespace Ps
