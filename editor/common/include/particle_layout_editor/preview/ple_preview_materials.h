#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <glm/mat4x4.hpp>

#include "particle_layout_editor/preview/ple_preview_renderable.h"

namespace Ple
{
namespace Preview
{

// A shader could not be built, or a location is missing. The text says why.
class MaterialException : public std::runtime_error
{
public:
    explicit MaterialException(const std::string& text) : std::runtime_error(text) {}
};

// The shader programs and blend settings of the preview. Made once the GL
// context is ready (all members are built in the constructor, which needs a
// current context) and used while the same context, or one sharing with it,
// is current.
class Materials
{
public:
    // A linked program with its position attribute and matrix uniform.
    class Base
    {
    public:
        virtual ~Base();
        Base(const Base&) = delete;
        Base& operator=(const Base&) = delete;

        // Uses the program, loads projection * view * model and enables the
        // position array.
        virtual void begin(const Renderable::RenderData& renderData, const glm::mat4& model) const;
        // Disables the arrays and releases the program.
        virtual void end() const;

        int getPositionAttribute() const { return positionAttribute_; }
        unsigned getProgram() const { return program_; }

    protected:
        Base(const char* vertexShader, const char* fragmentShader);
        int attributeLocation(const char* name) const;
        int uniformLocation(const char* name) const;

    private:
        unsigned program_ = 0;
        int positionAttribute_ = -1;
        int mvpUniform_ = -1;
    };

    // Particles: colour, one texture channel on unit 0.
    class BaseParticles : public Base
    {
    public:
        void begin(const Renderable::RenderData& renderData, const glm::mat4& model) const override;
        void end() const override;
        int getColorAttribute() const { return colorAttribute_; }
        int getTexCoordAttribute() const { return texCoordAttribute_; }

    protected:
        BaseParticles(const char* fragmentShader, unsigned blendSource, unsigned blendDestination);

    private:
        int colorAttribute_ = -1;
        int texCoordAttribute_ = -1;
        unsigned blendSource_;
        unsigned blendDestination_;
    };

    class Normal : public BaseParticles
    {
    public:
        Normal();
    };

    class Add : public BaseParticles
    {
    public:
        Add();
    };

    class Multiply : public BaseParticles
    {
    public:
        Multiply();
    };

    // Lines of the wireframe.
    class Debug : public Base
    {
    public:
        Debug();
        void begin(const Renderable::RenderData& renderData, const glm::mat4& model) const override;
        void end() const override;
        int getColorAttribute() const { return colorAttribute_; }

    protected:
        Debug(const char* vertexShader);

    private:
        int colorAttribute_ = -1;
    };

    // Points of particle positions, 3 pixels across.
    class PointsDebug : public Debug
    {
    public:
        static constexpr float kPointsSize = 3.0f;
        PointsDebug();
        void begin(const Renderable::RenderData& renderData, const glm::mat4& model) const override;
        void end() const override;

    private:
        int pointsSizeUniform_ = -1;
    };

    // Builds every program; throws MaterialException.
    Materials();
    ~Materials();

    const Normal& normal() const { return *normal_; }
    const Add& add() const { return *add_; }
    const Multiply& multiply() const { return *multiply_; }
    const Debug& debug() const { return *debug_; }
    const PointsDebug& pointsDebug() const { return *pointsDebug_; }

    // The particle material of a Ps::EnumMaterial value; anything but the three
    // known values is a broken invariant.
    const BaseParticles& particleMaterial(unsigned materialId) const;

private:
    std::unique_ptr<Normal> normal_;
    std::unique_ptr<Add> add_;
    std::unique_ptr<Multiply> multiply_;
    std::unique_ptr<Debug> debug_;
    std::unique_ptr<PointsDebug> pointsDebug_;
};

}  // namespace Preview
}  // namespace Ple
