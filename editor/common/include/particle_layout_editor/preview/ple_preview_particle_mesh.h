#pragma once

#include <memory>

class QOpenGLBuffer;

namespace Ps
{
class Mesh;
}

namespace Ple
{
namespace Preview
{

// A runtime mesh with its two GL buffers. The index buffer is uploaded once at
// construction (the runtime never rewrites it); the vertex buffer takes the
// written vertices once per drawn frame with updateFromMesh().
// Needs a current GL context for its whole life.
class ParticleMesh
{
public:
    explicit ParticleMesh(const Ps::Mesh& mesh);
    ~ParticleMesh();
    ParticleMesh(const ParticleMesh&) = delete;
    ParticleMesh& operator=(const ParticleMesh&) = delete;

    // One upload: numVertices * stride bytes at offset 0.
    void updateFromMesh();
    // Draws the triangles [startPolygon, startPolygon + numPolygons).
    void render(unsigned startPolygon, unsigned numPolygons, int positionAttribute,
                int colorAttribute, int texCoordAttribute);
    // Lines of a debug layout mesh (position and colour only).
    void renderDebug(int positionAttribute, int colorAttribute);

    const Ps::Mesh& getMesh() const { return *mesh_; }

private:
    const Ps::Mesh* mesh_;
    std::unique_ptr<QOpenGLBuffer> vertexBuffer_;
    std::unique_ptr<QOpenGLBuffer> indexBuffer_;
};

// A debug mesh of the runtime (wireframe lines or position points): position
// and colour per vertex. Both buffers are rewritten before each debug draw.
class DebugMesh
{
public:
    explicit DebugMesh(const Ps::Mesh& mesh);
    ~DebugMesh();
    DebugMesh(const DebugMesh&) = delete;
    DebugMesh& operator=(const DebugMesh&) = delete;

    void updateFromMesh();
    // GL_LINES when `lines`, else GL_POINTS, over all indices written.
    void render(bool lines, int positionAttribute, int colorAttribute);

    const Ps::Mesh& getMesh() const { return *mesh_; }

private:
    const Ps::Mesh* mesh_;
    std::unique_ptr<QOpenGLBuffer> vertexBuffer_;
    std::unique_ptr<QOpenGLBuffer> indexBuffer_;
};

}  // namespace Preview
}  // namespace Ple
