#pragma once

#include <glm/vec3.hpp>

#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// Where particles are born.
class BlockPositioner : public Block
{
    PLM_BLOCK_KIND(BlockPositioner, "positioner")

public:
    static std::unique_ptr<BlockPositioner> create();

    BlockPositioner* castToBlockPositioner() override { return this; }

    PLM_PROP_ACCESSORS(Position, glm::vec3, position_)
    PLM_EXTERNAL_ACCESSORS(Position, position_)

    // Writes the particle's position, in the init and the update chains.
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockPositioner();
    explicit BlockPositioner(LoadFlag flag);
    BlockPositioner(const BlockPositioner& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<glm::vec3> position_;
};

}  // namespace Plm
