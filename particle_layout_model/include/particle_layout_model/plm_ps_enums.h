#pragma once

// The runtime's enumerations that block properties hold, with the values a file may give.

#include "particle_layout_model/plm_prop_value_sl.h"
#include "particle_system/constructors/ps_constructor_quads.h"
#include "particle_system/functions/ps_func_math.h"
#include "particle_system/functions/ps_func_noise3_eval.h"
#include "particle_system/ps_emitter_inst.h"
#include "particle_system/ps_system.h"

namespace Plm
{

template <>
struct PropEnumRange<Ps::EnumSystemSeedType>
{
    static constexpr uint8_t first = Ps::SST_Fixed, last = Ps::SST_Random;
};
template <>
struct PropEnumRange<Ps::EnumMaterial>
{
    static constexpr uint8_t first = Ps::MAT_Normal, last = Ps::MAT_Multiply;
};
template <>
struct PropEnumRange<Ps::EnumEmitterSorting>
{
    static constexpr uint8_t first = Ps::ES_OlderFirst, last = Ps::ES_DepthCorrect;
};
template <>
struct PropEnumRange<Ps::EnumFuncNoise3Type>
{
    static constexpr uint8_t first = Ps::FN3_Linear, last = Ps::FN3_Cubic;
};
template <>
struct PropEnumRange<Ps::EnumRotationFromAxesType>
{
    static constexpr uint8_t first = Ps::RFA_XY, last = Ps::RFA_ZY;
};
template <>
struct PropEnumRange<Ps::EnumConstructorQuadsRotationOp>
{
    static constexpr uint8_t first = Ps::CGO_Faced, last = Ps::CGO_Free;
};
template <>
struct PropEnumRange<Ps::EnumConstructorQuadsTexOp>
{
    static constexpr uint8_t first = Ps::CTO_Rect, last = Ps::CTO_Grid;
};

}  // namespace Plm
