#include "particle_layout_model/plm_block_func_transform.h"
#include "particle_layout_model/plm_block_syncer.h"

#include <cmath>
#include <glm/trigonometric.hpp>

#include "plm_export_block_writers.h"

namespace Plm
{

BlockFuncTransform::BlockFuncTransform(bool inverted)
    : position_(*this, false, glm::vec2(0.0f)),
      rotation_(*this, false, 0.0f),
      scale_(*this, false, 1.0f),
      inverted_(inverted)
{
}

BlockFuncTransform::BlockFuncTransform(LoadFlag flag)
    : BlockFunc(flag), position_(*this), rotation_(*this), scale_(*this)
{
}

BlockFuncTransform::BlockFuncTransform(const BlockFuncTransform& other)
    : BlockFunc(other),
      position_(*this, other.position_),
      rotation_(*this, other.rotation_),
      scale_(*this, other.scale_),
      inverted_(other.inverted_)
{
}

std::unique_ptr<BlockFuncTransform> BlockFuncTransform::create(bool inverted)
{
    std::unique_ptr<BlockFuncTransform> block(new BlockFuncTransform(inverted));
    block->updateConnectors();
    return block;
}

void BlockFuncTransform::updateConnectors()
{
    const BlockConnectorDesc descs[] = {outputDesc(CT_Vec2, 1), inputDesc(CT_Vec2, 0)};
    resetConnectors(descs, 2);
}

std::unique_ptr<Block> BlockFuncTransform::copyImpl() const
{
    return std::unique_ptr<Block>(new BlockFuncTransform(*this));
}

void BlockFuncTransform::saveImpl(Sl::RevisionSaver& saver) const
{
    BlockFunc::saveImpl(saver);
    Sl::ScopedSaverGroup group(getStaticFactoryName().str().c_str(), saver, 0);
    position_.save("position", saver);
    rotation_.save("rotation", saver);
    scale_.save("scale", saver);
    saver.write("inverted", inverted_);
}

void BlockFuncTransform::loadImpl(Sl::RevisionLoader& loader)
{
    BlockFunc::loadImpl(loader);
    Sl::ScopedLoaderGroup group(loader, 0);
    position_.load(loader);
    rotation_.load(loader);
    scale_.load(loader);
    loader.read(inverted_);
}

// The affine map as the runtime's matrix of columns: x' = m[0].x x + m[1].x y + m[2].x.
// Forward it scales, then turns by the rotation (degrees), then moves by the position; the
// inverted block undoes these in the reverse order. A zero scale has no inverse, and then
// every point goes to the origin rather than to infinity.
glm::mat3 BlockFuncTransform::getExportMatrix() const
{
    const float angle = glm::radians(rotation_.get());
    const float c = std::cos(angle);
    const float s = std::sin(angle);
    const float scale = scale_.get();
    const glm::vec2& position = position_.get();
    if (!inverted_)
        return glm::mat3(glm::vec3(scale * c, scale * s, 0.0f),
                         glm::vec3(-scale * s, scale * c, 0.0f),
                         glm::vec3(position.x, position.y, 1.0f));
    const float k = scale != 0.0f ? 1.0f / scale : 0.0f;
    // p = R(-angle) (p' - position) / scale.
    const glm::vec2 shift(-(c * position.x + s * position.y) * k,
                          -(-s * position.x + c * position.y) * k);
    return glm::mat3(glm::vec3(k * c, -k * s, 0.0f), glm::vec3(k * s, k * c, 0.0f),
                     glm::vec3(shift.x, shift.y, 1.0f));
}

void BlockFuncTransform::doExport(EmitterExportCompilerBin& compiler, unsigned int) const
{
    compiler.registerOpOutput(1, 0);
    ExportBin::OperationScope operation(compiler, Ps::OF_FuncTransform);
    compiler.writeInput(*this, "input", 0);
    ExportBin::writeValue(operation.saver(), "transform", getExportMatrix());
}

void BlockFuncTransform::syncReflectionImpl(const BlockSyncer& syncer)
{
    BlockFunc::syncReflectionImpl(syncer);
    syncer.syncProp(&BlockFuncTransform::position_);
    syncer.syncProp(&BlockFuncTransform::rotation_);
    syncer.syncProp(&BlockFuncTransform::scale_);
    // Which of the two transformations the block is: fixed when made, so the sources agree.
    inverted_ = static_cast<const BlockFuncTransform*>(syncer.getNearestSource())->inverted_;
}

}  // namespace Plm
