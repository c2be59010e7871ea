// Fuzzes the reading of an effect's text form. Only EffectJsonError may come out: a text that
// isn't a valid dump is refused with the path of its first bad member. A text that is taken
// dumps to a text that is taken again and gives the same dump.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "particle_layout_model/plm_effect_text.h"
#include "particle_layout_model/plm_project_resource.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::unique_ptr<Plm::ProjectResourceSystem> effect;
    try
    {
        effect = Plm::loadEffectJson(text);
    }
    catch (const Plm::EffectJsonError&)
    {
        return 0;
    }
    const std::string dump = Plm::dumpEffectJson(*effect);
    const std::unique_ptr<Plm::ProjectResourceSystem> again = Plm::loadEffectJson(dump);
    if (Plm::dumpEffectJson(*again) != dump)
        abort();
    return 0;
}
