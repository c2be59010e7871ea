#pragma once

#include <glm/mat3x3.hpp>

#include "particle_layout_model/plm_block_func.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// Moves, rotates and scales a 2D point, or undoes that when inverted.
class BlockFuncTransform : public BlockFunc
{
    PLM_BLOCK_KIND(BlockFuncTransform, "func_transform")

public:
    static std::unique_ptr<BlockFuncTransform> create(bool inverted);

    PLM_PROP_ACCESSORS(Position, glm::vec2, position_)
    PLM_PROP_ACCESSORS(Rotation, float, rotation_)
    PLM_PROP_ACCESSORS(Scale, float, scale_)
    // Fixed when the block is made: an inverted transform is a kind of its own for the user.
    bool isInverted() const { return inverted_; }
    // The affine map of points, as a matrix of columns, that the compiled effect applies.
    glm::mat3 getExportMatrix() const;

    void updateConnectors() override;
    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

protected:
    explicit BlockFuncTransform(bool inverted);
    explicit BlockFuncTransform(LoadFlag flag);
    BlockFuncTransform(const BlockFuncTransform& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    Prop<glm::vec2> position_;
    Prop<float> rotation_;
    Prop<float> scale_;
    bool inverted_ = false;
};

}  // namespace Plm
