#pragma once

#include <glm/mat3x3.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "particle_system/ps_operation.h"
#include "particle_system/ps_types.h"

namespace Sl
{
class Loader;
}

namespace Ps
{

class EmitterFactory;

// How a quad turns: facing the camera and turned by an angle in its plane, or
// freely in space by a quaternion. The "rotation_op" byte of the compiled effect.
enum EnumConstructorQuadsRotationOp : uint8
{
    CGO_Faced = 0,
    CGO_Free = 1,
};

// What part of the texture a quad shows: the whole frame, or one cell of a
// grid. The "tex_op" byte of the compiled effect.
enum EnumConstructorQuadsTexOp : uint8
{
    CTO_Rect = 0,
    CTO_Grid = 1,
};

// A part of ConstructorQuads that varies by the file's choice. It lives in the
// effect's pool beside the constructor and keeps its per-instance state (its
// input pointers) in a record inside the constructor's emitter data.
class ConstructorQuadsOp
{
public:
    ConstructorQuadsOp(const ConstructorQuadsOp&) = delete;
    ConstructorQuadsOp& operator=(const ConstructorQuadsOp&) = delete;

    virtual uint32 getNumInputs() const = 0;
    virtual const Connection& getInput(uint32 i) const = 0;
    // Bytes of its record in the emitter data.
    virtual uint32 getDataSize() const = 0;
    // Resolves its inputs for one instance into its record.
    virtual void initEmitterData(void* data, EmitterInst& inst) const = 0;

protected:
    ConstructorQuadsOp() = default;
    ~ConstructorQuadsOp() = default;
};

// Fills the quad's frame: columns U (the quad's x), V (its y) and N (its normal).
class ConstructorQuadsRotationOp : public ConstructorQuadsOp
{
public:
    virtual void process(const void* data, const glm::mat3& camera, glm::mat3& out) const = 0;

protected:
    ~ConstructorQuadsRotationOp() = default;
};

// Writes the texture coordinates of the four corners, each mapped through the frame.
class ConstructorQuadsTexOp : public ConstructorQuadsOp
{
public:
    // out[k] is the (u, v) of corner k, k = 0..3, in the corner order of the quad.
    virtual void process(const void* data, const TextureFrame& frame, glm::vec2 out[4]) const = 0;

protected:
    ~ConstructorQuadsTexOp() = default;
};

// Rotation op 0: the camera's frame turned in its plane by an angle in degrees.
class ConstructorQuadsFacedRotationOp final : public ConstructorQuadsRotationOp
{
public:
    struct Data
    {
        const float* angle;
    };

    explicit ConstructorQuadsFacedRotationOp(const InputDesc<float>& angle) : angle_(angle) {}

    uint32 getNumInputs() const override { return 1; }
    const Connection& getInput(uint32 i) const override;
    uint32 getDataSize() const override { return sizeof(Data); }
    void initEmitterData(void* data, EmitterInst& inst) const override;
    void process(const void* data, const glm::mat3& camera, glm::mat3& out) const override;

private:
    const InputDesc<float>& angle_;
};

// Rotation op 1: the matrix of a quaternion.
class ConstructorQuadsFreeRotationOp final : public ConstructorQuadsRotationOp
{
public:
    struct Data
    {
        const glm::quat* rotation;
    };

    explicit ConstructorQuadsFreeRotationOp(const InputDesc<glm::quat>& rotation)
        : rotation_(rotation)
    {
    }

    uint32 getNumInputs() const override { return 1; }
    const Connection& getInput(uint32 i) const override;
    uint32 getDataSize() const override { return sizeof(Data); }
    void initEmitterData(void* data, EmitterInst& inst) const override;
    void process(const void* data, const glm::mat3& camera, glm::mat3& out) const override;

private:
    const InputDesc<glm::quat>& rotation_;
};

// Texture op 0: the whole frame.
class ConstructorQuadsRectTexOp final : public ConstructorQuadsTexOp
{
public:
    uint32 getNumInputs() const override { return 0; }
    const Connection& getInput(uint32 i) const override;
    uint32 getDataSize() const override { return 0; }
    void initEmitterData(void* data, EmitterInst& inst) const override {}
    void process(const void* data, const TextureFrame& frame, glm::vec2 out[4]) const override;
};

// Texture op 1: one cell of a grid of columns x rows, chosen by a float index
// (clamped to the grid). Cell 0 is the top left one.
class ConstructorQuadsGridTexOp final : public ConstructorQuadsTexOp
{
public:
    struct Data
    {
        const float* index;
    };

    ConstructorQuadsGridTexOp(uint32 columns, uint32 rows, const InputDesc<float>& index);

    uint32 getNumInputs() const override { return 1; }
    const Connection& getInput(uint32 i) const override;
    uint32 getDataSize() const override { return sizeof(Data); }
    void initEmitterData(void* data, EmitterInst& inst) const override;
    void process(const void* data, const TextureFrame& frame, glm::vec2 out[4]) const override;

    // The cell of an index: its integer part, clamped to [0, columns * rows - 1].
    uint32 cellOfIndex(float index) const;

    uint32 getColumns() const { return columns_; }
    uint32 getRows() const { return rows_; }

private:
    uint32 columns_;
    uint32 rows_;
    uint32 numCells_;
    float cellWidth_;   // 1 / columns
    float cellHeight_;  // 1 / rows
    const InputDesc<float>& index_;
};

// A sprite per particle: four vertices around the particle's position, facing
// the camera or turned freely, sized, coloured and textured.
class ConstructorQuads final : public Constructor
{
public:
    // Size types of the compiled effect: one float for a square, a vec2 for a rectangle.
    enum EnumSizeType : uint8
    {
        ST_Square = 1,
        ST_Rect = 2,
    };

    // The constructor's emitter data; behind it stand the records of the
    // rotation op and then of the texture op.
    struct Data
    {
        const glm::vec2* origin;
        const float* size;  // one float, or two for a rectangle
        const glm::vec3* color;
        const float* alpha;
    };

    ConstructorQuads(Sl::Loader& loader, EmitterFactory& emitterFactory, Allocator& allocator);
    static uint32 computePoolSize(Sl::Loader& loader);

    void initEmitterData(EmitterInst& inst) override;
    void processConstruct(EmitterInst& inst, Mesh& mesh, const glm::mat3& camera,
                          const TextureFrame& frame) override;

    EnumConstructorQuadsRotationOp getRotationOpType() const { return rotationOpType_; }
    EnumConstructorQuadsTexOp getTexOpType() const { return texOpType_; }
    bool isRectangle() const { return rectangle_; }
    const ConstructorQuadsRotationOp& getRotationOp() const { return *rotationOp_; }
    const ConstructorQuadsTexOp& getTexOp() const { return *texOp_; }

private:
    const InputDesc<glm::vec2>* origin_ = nullptr;
    const InputDesc<float>* sizeFloat_ = nullptr;
    const InputDesc<glm::vec2>* sizeVec2_ = nullptr;
    const InputDesc<glm::vec3>* color_ = nullptr;
    const InputDesc<float>* alpha_ = nullptr;
    EnumConstructorQuadsRotationOp rotationOpType_ = CGO_Faced;
    EnumConstructorQuadsTexOp texOpType_ = CTO_Rect;
    bool rectangle_ = false;
    const ConstructorQuadsRotationOp* rotationOp_ = nullptr;
    const ConstructorQuadsTexOp* texOp_ = nullptr;
    uint32 rotationDataOffset_ = 0;
    uint32 texDataOffset_ = 0;
};

}  // namespace Ps
