#pragma once

#include <glm/vec2.hpp>

#include "particle_layout_model/plm_block_kind.h"
#include "particle_layout_model/plm_block_terminator.h"
#include "plot/path.h"

namespace Plm
{

// Ends a particle that crosses a path drawn in the plane.
class BlockTermPath : public BlockTerminator
{
    PLM_BLOCK_KIND(BlockTermPath, "term_path")

public:
    static std::unique_ptr<BlockTermPath> create();

    PLM_PROP_ACCESSORS(Path, Path<glm::vec2>, path_)
    const PropBaseTyped<Path<glm::vec2>>& pathProp() const { return path_; }
    PLM_PROP_ACCESSORS(BezierSubdivision, unsigned short, subdiv_)

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockTermPath();
    explicit BlockTermPath(LoadFlag flag);
    BlockTermPath(const BlockTermPath& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<Path<glm::vec2>> path_;
    Prop<unsigned short> subdiv_;
};

}  // namespace Plm
