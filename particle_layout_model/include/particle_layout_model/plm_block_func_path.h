#pragma once

#include <memory>

#include <glm/vec2.hpp>

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"
#include "plot/path.h"
#include "plot/path_cache.h"

namespace Plm
{

// A point on a user-drawn path: the input (0 to 1) walks it by length from start to end.
// Outputs the point, the direction there and the path's whole length.
class BlockFuncPath : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncPath, "func_path")

public:
    static constexpr uint32_t kInputConnector = 0;
    static constexpr uint32_t kPositionConnector = 1;
    static constexpr uint32_t kDirectionConnector = 2;
    static constexpr uint32_t kLengthConnector = 3;

    static std::unique_ptr<BlockFuncPath> create();

    PLM_PROP_ACCESSORS(Path, Path<glm::vec2>, path_)
    const PropBaseTyped<Path<glm::vec2>>& pathProp() const { return path_; }
    // Steps of a Bezier segment when the path is flattened for export.
    PLM_PROP_ACCESSORS(BezierSubdivision, unsigned int, subdiv_)
    // The path as the compiled effect holds it: resampled evenly by length.
    PathCache<glm::vec2> getExportCache() const;

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    BlockFuncPath();
    explicit BlockFuncPath(LoadFlag flag);
    BlockFuncPath(const BlockFuncPath& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<Path<glm::vec2>> path_;
    Prop<unsigned int> subdiv_;
};

}  // namespace Plm
