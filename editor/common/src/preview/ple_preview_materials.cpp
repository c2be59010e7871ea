#include "particle_layout_editor/preview/ple_preview_materials.h"

#include <vector>

#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <glm/gtc/type_ptr.hpp>

#include "debug/debug_check.h"
#include "particle_system/ps_system.h"

#ifndef GL_PROGRAM_POINT_SIZE
#define GL_PROGRAM_POINT_SIZE 0x8642
#endif

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

const char* const kParticlesVertexShader = R"(
#version 120

attribute vec3 aPosition;
attribute vec4 aColor;
attribute vec2 aTexCoord0;

uniform mat4 uMVPMatrix;

varying vec4 vColor;
varying vec2 vTexCoord0;

void main(void)
{
	vColor = aColor;
	vTexCoord0 = aTexCoord0;
	gl_Position = uMVPMatrix * vec4(aPosition, 1);
}
)";

const char* const kParticlesFragmentShader = R"(
#version 120

uniform sampler2D uTexture0;

varying vec4 vColor;
varying vec2 vTexCoord0;

void main(void)
{
	gl_FragColor = vColor * texture2D(uTexture0, vTexCoord0);
}
)";

// The texture's alpha fades the multiplying colour towards white, so that
// transparent parts leave the background alone.
const char* const kMultiplyFragmentShader = R"(
#version 120

uniform sampler2D uTexture0;

varying vec4 vColor;
varying vec2 vTexCoord0;

void main(void)
{
	vec4 texel = texture2D(uTexture0, vTexCoord0);
	vec3 rgb = vColor.rgb * texel.rgb;
	float alpha = vColor.a * texel.a;
	gl_FragColor = vec4(mix(vec3(1, 1, 1), rgb, alpha), 1);
}
)";

const char* const kDebugVertexShader = R"(
#version 120

attribute vec3 aPosition;
attribute vec4 aColor;

uniform mat4 uMVPMatrix;

varying vec4 vColor;

void main(void)
{
	vColor = aColor;
	gl_Position = uMVPMatrix * vec4(aPosition, 1);
}
)";

const char* const kPointsDebugVertexShader = R"(
#version 120

attribute vec3 aPosition;
attribute vec4 aColor;

uniform mat4 uMVPMatrix;
uniform float uPointsSize;

varying vec4 vColor;

void main(void)
{
	vColor = aColor;
	gl_Position = uMVPMatrix * vec4(aPosition, 1);
	gl_PointSize = uPointsSize;
}
)";

const char* const kDebugFragmentShader = R"(
#version 120

varying vec4 vColor;

void main(void)
{
	gl_FragColor = vColor;
}
)";

// The failure text of a step, with the driver's log if it gave one.
[[noreturn]] void throwBuildError(const std::string& step, const std::string& log)
{
    if (log.empty())
        throw MaterialException("Unknown error while " + step);
    throw MaterialException("Error while " + step + "\n" + log);
}

std::string shaderLog(GLuint shader)
{
    GLint length = 0;
    gl().glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    if (length <= 1)
        return {};
    std::vector<char> text(static_cast<size_t>(length), '\0');
    gl().glGetShaderInfoLog(shader, length, nullptr, text.data());
    return std::string(text.data());
}

std::string programLog(GLuint program)
{
    GLint length = 0;
    gl().glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
    if (length <= 1)
        return {};
    std::vector<char> text(static_cast<size_t>(length), '\0');
    gl().glGetProgramInfoLog(program, length, nullptr, text.data());
    return std::string(text.data());
}

GLuint compileShader(GLenum type, const char* source, const char* step)
{
    QOpenGLFunctions& f = gl();
    const GLuint shader = f.glCreateShader(type);
    if (!shader)
        throwBuildError(step, {});
    f.glShaderSource(shader, 1, &source, nullptr);
    f.glCompileShader(shader);
    GLint ok = GL_FALSE;
    f.glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    if (ok != GL_TRUE)
    {
        const std::string log = shaderLog(shader);
        f.glDeleteShader(shader);
        throwBuildError(step, log);
    }
    return shader;
}

GLuint linkProgram(const char* vertexSource, const char* fragmentSource)
{
    QOpenGLFunctions& f = gl();
    const GLuint vertex = compileShader(GL_VERTEX_SHADER, vertexSource, "compiling vertex shader");
    GLuint fragment = 0;
    try
    {
        fragment = compileShader(GL_FRAGMENT_SHADER, fragmentSource, "compiling fragment shader");
    }
    catch (...)
    {
        f.glDeleteShader(vertex);
        throw;
    }
    const GLuint program = f.glCreateProgram();
    f.glAttachShader(program, vertex);
    f.glAttachShader(program, fragment);
    f.glLinkProgram(program);
    // The program keeps what it needs; the shader objects go with it.
    f.glDeleteShader(vertex);
    f.glDeleteShader(fragment);
    GLint ok = GL_FALSE;
    f.glGetProgramiv(program, GL_LINK_STATUS, &ok);
    if (ok != GL_TRUE)
    {
        const std::string log = programLog(program);
        f.glDeleteProgram(program);
        throwBuildError("linking shader", log);
    }
    return program;
}

}  // namespace

// --- Base ----------------------------------------------------------------------------------

Materials::Base::Base(const char* vertexShader, const char* fragmentShader)
    : program_(linkProgram(vertexShader, fragmentShader))
{
    positionAttribute_ = attributeLocation("aPosition");
    if (positionAttribute_ < 0)
        throw MaterialException("Can't find aPosition attribute.");
    mvpUniform_ = uniformLocation("uMVPMatrix");
    if (mvpUniform_ < 0)
        throw MaterialException("Can't find uMVPMatrix uniform.");
}

Materials::Base::~Base()
{
    if (program_ && QOpenGLContext::currentContext())
        gl().glDeleteProgram(program_);
}

int Materials::Base::attributeLocation(const char* name) const
{
    return gl().glGetAttribLocation(program_, name);
}

int Materials::Base::uniformLocation(const char* name) const
{
    return gl().glGetUniformLocation(program_, name);
}

void Materials::Base::begin(const Renderable::RenderData& renderData, const glm::mat4& model) const
{
    QOpenGLFunctions& f = gl();
    f.glUseProgram(program_);
    const glm::mat4 mvp = renderData.projection * renderData.view * model;
    f.glUniformMatrix4fv(mvpUniform_, 1, GL_FALSE, glm::value_ptr(mvp));
    f.glEnableVertexAttribArray(static_cast<GLuint>(positionAttribute_));
}

void Materials::Base::end() const
{
    QOpenGLFunctions& f = gl();
    f.glDisableVertexAttribArray(static_cast<GLuint>(positionAttribute_));
    f.glUseProgram(0);
}

// --- BaseParticles --------------------------------------------------------------------------

Materials::BaseParticles::BaseParticles(const char* fragmentShader, unsigned blendSource,
                                        unsigned blendDestination)
    : Base(kParticlesVertexShader, fragmentShader),
      blendSource_(blendSource),
      blendDestination_(blendDestination)
{
    colorAttribute_ = attributeLocation("aColor");
    if (colorAttribute_ < 0)
        throw MaterialException("Can't find aColor attribute.");
    texCoordAttribute_ = attributeLocation("aTexCoord0");
    if (texCoordAttribute_ < 0)
        throw MaterialException("Can't find aTexCoord0 attribute.");
    const int texture = uniformLocation("uTexture0");
    if (texture < 0)
        throw MaterialException("Can't find uTexture0 uniform.");
    QOpenGLFunctions& f = gl();
    f.glUseProgram(getProgram());
    f.glUniform1i(texture, 0);
    f.glUseProgram(0);
}

void Materials::BaseParticles::begin(const Renderable::RenderData& renderData,
                                     const glm::mat4& model) const
{
    Base::begin(renderData, model);
    QOpenGLFunctions& f = gl();
    f.glEnableVertexAttribArray(static_cast<GLuint>(colorAttribute_));
    f.glEnableVertexAttribArray(static_cast<GLuint>(texCoordAttribute_));
    f.glBlendFunc(blendSource_, blendDestination_);
}

void Materials::BaseParticles::end() const
{
    QOpenGLFunctions& f = gl();
    f.glDisableVertexAttribArray(static_cast<GLuint>(colorAttribute_));
    f.glDisableVertexAttribArray(static_cast<GLuint>(texCoordAttribute_));
    Base::end();
}

Materials::Normal::Normal()
    : BaseParticles(kParticlesFragmentShader, GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA)
{
}

Materials::Add::Add() : BaseParticles(kParticlesFragmentShader, GL_SRC_ALPHA, GL_ONE) {}

Materials::Multiply::Multiply() : BaseParticles(kMultiplyFragmentShader, GL_ZERO, GL_SRC_COLOR) {}

// --- Debug ---------------------------------------------------------------------------------

Materials::Debug::Debug() : Debug(kDebugVertexShader) {}

Materials::Debug::Debug(const char* vertexShader) : Base(vertexShader, kDebugFragmentShader)
{
    colorAttribute_ = attributeLocation("aColor");
    if (colorAttribute_ < 0)
        throw MaterialException("Can't find aColor attribute.");
}

void Materials::Debug::begin(const Renderable::RenderData& renderData, const glm::mat4& model) const
{
    Base::begin(renderData, model);
    QOpenGLFunctions& f = gl();
    f.glEnableVertexAttribArray(static_cast<GLuint>(colorAttribute_));
    f.glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

void Materials::Debug::end() const
{
    gl().glDisableVertexAttribArray(static_cast<GLuint>(colorAttribute_));
    Base::end();
}

Materials::PointsDebug::PointsDebug() : Debug(kPointsDebugVertexShader)
{
    pointsSizeUniform_ = uniformLocation("uPointsSize");
    if (pointsSizeUniform_ < 0)
        throw MaterialException("Can't find uPointsSize uniform.");
}

void Materials::PointsDebug::begin(const Renderable::RenderData& renderData,
                                   const glm::mat4& model) const
{
    Debug::begin(renderData, model);
    QOpenGLFunctions& f = gl();
    f.glUniform1f(pointsSizeUniform_, kPointsSize);
    f.glEnable(GL_PROGRAM_POINT_SIZE);
}

void Materials::PointsDebug::end() const
{
    gl().glDisable(GL_PROGRAM_POINT_SIZE);
    Debug::end();
}

// --- Materials -----------------------------------------------------------------------------

Materials::Materials()
    : normal_(new Normal),
      add_(new Add),
      multiply_(new Multiply),
      debug_(new Debug),
      pointsDebug_(new PointsDebug)
{
}

Materials::~Materials() = default;

const Materials::BaseParticles& Materials::particleMaterial(unsigned materialId) const
{
    switch (materialId)
    {
    case Ps::MAT_Normal:
        return *normal_;
    case Ps::MAT_Add:
        return *add_;
    case Ps::MAT_Multiply:
        return *multiply_;
    default:
        // Only the three blend modes exist; another value is a broken effect.
        ::Debug::assertFailed("materialId == Ps::M_Multiply", __FILE__, __LINE__, __func__);
    }
}

}  // namespace Preview
}  // namespace Ple
