#include "particle_layout_editor/preview/ple_preview_particle_mesh.h"

#include <cstdint>

#include <QOpenGLBuffer>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <glm/fwd.hpp>
#include <glm/vec3.hpp>

#include "debug/debug_check.h"
#include "particle_system/ps_mesh.h"

namespace Ple
{
namespace Preview
{

namespace
{

QOpenGLFunctions& gl()
{
    QOpenGLContext* context = QOpenGLContext::currentContext();
    DEBUG_ASSERT(context);
    return *context->functions();
}

std::unique_ptr<QOpenGLBuffer>
makeBuffer(QOpenGLBuffer::Type type, QOpenGLBuffer::UsagePattern usage, const void* data, int size)
{
    std::unique_ptr<QOpenGLBuffer> buffer(new QOpenGLBuffer(type));
    DEBUG_VERIFY(buffer->create());
    buffer->setUsagePattern(usage);
    buffer->bind();
    buffer->allocate(data, size);
    buffer->release();
    return buffer;
}

const void* byteOffset(std::uintptr_t offset) { return reinterpret_cast<const void*>(offset); }

// Position (3 floats) and colour (4 normalised bytes) of a debug layout vertex.
void setDebugAttributes(const Ps::Mesh& mesh, int positionAttribute, int colorAttribute)
{
    QOpenGLFunctions& f = gl();
    const GLsizei stride = static_cast<GLsizei>(mesh.getVertexStride());
    f.glVertexAttribPointer(static_cast<GLuint>(positionAttribute), 3, GL_FLOAT, GL_FALSE, stride,
                            byteOffset(0));
    f.glVertexAttribPointer(static_cast<GLuint>(colorAttribute), 4, GL_UNSIGNED_BYTE, GL_TRUE,
                            stride, byteOffset(mesh.getColorOffset()));
}

}  // namespace

// --- ParticleMesh --------------------------------------------------------------------------

ParticleMesh::ParticleMesh(const Ps::Mesh& mesh) : mesh_(&mesh)
{
    vertexBuffer_ = makeBuffer(QOpenGLBuffer::VertexBuffer, QOpenGLBuffer::StreamDraw, nullptr,
                               static_cast<int>(mesh.getMaxVertices() * mesh.getVertexStride()));
    indexBuffer_ = makeBuffer(QOpenGLBuffer::IndexBuffer, QOpenGLBuffer::StaticDraw,
                              mesh.getIndices(), static_cast<int>(mesh.getMaxIndices() * 4));
}

ParticleMesh::~ParticleMesh() = default;

void ParticleMesh::updateFromMesh()
{
    const int size = static_cast<int>(mesh_->getNumVertices() * mesh_->getVertexStride());
    if (size == 0)
        return;
    vertexBuffer_->bind();
    vertexBuffer_->write(0, mesh_->getVertices(), size);
    vertexBuffer_->release();
}

void ParticleMesh::render(unsigned startPolygon, unsigned numPolygons, int positionAttribute,
                          int colorAttribute, int texCoordAttribute)
{
    if (numPolygons == 0)
        return;
    QOpenGLFunctions& f = gl();
    const GLsizei stride = static_cast<GLsizei>(mesh_->getVertexStride());
    vertexBuffer_->bind();
    std::uintptr_t offset = 0;
    f.glVertexAttribPointer(static_cast<GLuint>(positionAttribute),
                            static_cast<GLint>(mesh_->getNumPositionComponents()), GL_FLOAT,
                            GL_FALSE, stride, byteOffset(offset));
    offset += 4 * mesh_->getNumPositionComponents();
    if (mesh_->hasNormals())
        offset += 12;  // normals are not used by the preview's shaders
    if (mesh_->hasColors())
    {
        f.glVertexAttribPointer(static_cast<GLuint>(colorAttribute), 4, GL_UNSIGNED_BYTE, GL_TRUE,
                                stride, byteOffset(offset));
        offset += 4;
    }
    else
    {
        // No colour in the vertices: the array the material enabled would
        // read nothing; white stands for all of them.
        f.glDisableVertexAttribArray(static_cast<GLuint>(colorAttribute));
        f.glVertexAttrib4f(static_cast<GLuint>(colorAttribute), 1.0f, 1.0f, 1.0f, 1.0f);
    }
    if (mesh_->getNumTexChannels() > 0)
    {
        f.glVertexAttribPointer(static_cast<GLuint>(texCoordAttribute),
                                static_cast<GLint>(mesh_->getTexChannelSize(0)), GL_FLOAT, GL_FALSE,
                                stride, byteOffset(offset));
    }
    else
    {
        f.glDisableVertexAttribArray(static_cast<GLuint>(texCoordAttribute));
        f.glVertexAttrib2f(static_cast<GLuint>(texCoordAttribute), 0.0f, 0.0f);
    }
    indexBuffer_->bind();
    f.glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(numPolygons * 3), GL_UNSIGNED_INT,
                     byteOffset(std::uintptr_t(startPolygon) * 12));
    indexBuffer_->release();
    vertexBuffer_->release();
}

void ParticleMesh::renderDebug(int positionAttribute, int colorAttribute)
{
    DEBUG_ASSERT(mesh_->getVertexStride() == sizeof(glm::vec3) + sizeof(glm::uint32));
    DEBUG_ASSERT(!mesh_->hasNormals());
    DEBUG_ASSERT(mesh_->hasColors());
    DEBUG_ASSERT(mesh_->getNumTexChannels() == 0);
    if (mesh_->getNumIndices() == 0)
        return;
    vertexBuffer_->bind();
    setDebugAttributes(*mesh_, positionAttribute, colorAttribute);
    indexBuffer_->bind();
    gl().glDrawElements(GL_LINES, static_cast<GLsizei>(mesh_->getNumIndices()), GL_UNSIGNED_INT,
                        byteOffset(0));
    indexBuffer_->release();
    vertexBuffer_->release();
}

// --- DebugMesh -----------------------------------------------------------------------------

DebugMesh::DebugMesh(const Ps::Mesh& mesh) : mesh_(&mesh)
{
    vertexBuffer_ = makeBuffer(QOpenGLBuffer::VertexBuffer, QOpenGLBuffer::DynamicDraw, nullptr,
                               static_cast<int>(mesh.getMaxVertices() * mesh.getVertexStride()));
    indexBuffer_ = makeBuffer(QOpenGLBuffer::IndexBuffer, QOpenGLBuffer::DynamicDraw, nullptr,
                              static_cast<int>(mesh.getMaxIndices() * 4));
}

DebugMesh::~DebugMesh() = default;

void DebugMesh::updateFromMesh()
{
    const int vertexBytes = static_cast<int>(mesh_->getNumVertices() * mesh_->getVertexStride());
    const int indexBytes = static_cast<int>(mesh_->getNumIndices() * 4);
    if (vertexBytes > 0)
    {
        vertexBuffer_->bind();
        vertexBuffer_->write(0, mesh_->getVertices(), vertexBytes);
        vertexBuffer_->release();
    }
    if (indexBytes > 0)
    {
        indexBuffer_->bind();
        indexBuffer_->write(0, mesh_->getIndices(), indexBytes);
        indexBuffer_->release();
    }
}

void DebugMesh::render(bool lines, int positionAttribute, int colorAttribute)
{
    if (mesh_->getNumIndices() == 0)
        return;
    vertexBuffer_->bind();
    setDebugAttributes(*mesh_, positionAttribute, colorAttribute);
    indexBuffer_->bind();
    gl().glDrawElements(lines ? GL_LINES : GL_POINTS, static_cast<GLsizei>(mesh_->getNumIndices()),
                        GL_UNSIGNED_INT, byteOffset(0));
    indexBuffer_->release();
    vertexBuffer_->release();
}

}  // namespace Preview
}  // namespace Ple
