#pragma once

#include <map>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

namespace Sl
{
class RevisionSaver;
class RevisionLoader;
}  // namespace Sl

namespace Plm
{

class BlockParam;

// Stable colours of an emitter's user parameters on the scheme: a parameter keeps its
// colour while others come and go, and a new one takes the smallest free colour.
class EmitterParamBlocksColorizer
{
public:
    EmitterParamBlocksColorizer() = default;
    explicit EmitterParamBlocksColorizer(Sl::RevisionLoader& loader) { load(loader); }

    boost::optional<unsigned short> colorIndex(const boost::uuids::uuid& blockId) const;

    // Follows the emitter's parameter blocks, in their order; a null entry is a block that
    // is gone.
    void update(const std::vector<const BlockParam*>& params);

    void save(Sl::RevisionSaver& saver) const;
    void load(Sl::RevisionLoader& loader);

private:
    std::map<boost::uuids::uuid, unsigned short> colors_;
};

}  // namespace Plm
