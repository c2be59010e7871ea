#include "particle_layout_model/plm_emitter_param_blocks_colorizer.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <set>

#include "debug/debug_check.h"
#include "particle_layout_model/plm_block_param_user.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_write_read.h"

namespace Plm
{

namespace
{
using uint16 = uint16_t;
}  // namespace

boost::optional<unsigned short>
EmitterParamBlocksColorizer::colorIndex(const boost::uuids::uuid& blockId) const
{
    auto it = colors_.find(blockId);
    if (it == colors_.end())
        return boost::none;
    return it->second;
}

void EmitterParamBlocksColorizer::update(const std::vector<const BlockParam*>& params)
{
    for (auto it = colors_.begin(); it != colors_.end();)
    {
        const bool present =
            std::any_of(params.begin(), params.end(),
                        [&](const BlockParam* p) { return p && p->getId() == it->first; });
        it = present ? std::next(it) : colors_.erase(it);
    }

    std::set<unsigned short> used;
    for (const auto& entry : colors_)
        used.insert(entry.second);
    for (const BlockParam* param : params)
    {
        if (!param || !param->castToBlockParamUser() || colors_.count(param->getId()))
            continue;
        unsigned int colorIndex = 0;
        while (used.count(static_cast<unsigned short>(colorIndex)))
            ++colorIndex;
        DEBUG_ASSERT(colorIndex < std::numeric_limits<uint16>::max());
        colors_.emplace(param->getId(), static_cast<unsigned short>(colorIndex));
        used.insert(static_cast<unsigned short>(colorIndex));
    }
}

void EmitterParamBlocksColorizer::save(Sl::RevisionSaver& saver) const
{
    Sl::ScopedSaverGroup group("param_blocks_colorizer", saver, 0);
    Sl::write("colors", saver, colors_);
}

void EmitterParamBlocksColorizer::load(Sl::RevisionLoader& loader)
{
    std::map<boost::uuids::uuid, unsigned short> colors;
    {
        Sl::ScopedLoaderGroup group(loader, 0);
        Sl::read(loader, colors);
    }
    colors_ = std::move(colors);
}

}  // namespace Plm
