#pragma once

#include <glm/vec2.hpp>

namespace GlmExt
{

// Tests of a segment a-b (of length segmentLength) in the plane against a box given by its centre,
// the unit direction from the centre to its high corner and half its diagonal. The first tells
// whether the segment may touch the lines that the box holds (either diagonal); the second tests
// one diagonal only: the rising one (low corner to high corner) or the falling one.
bool intersectAabbSegment(const glm::vec2& centre, const glm::vec2& direction, float length,
                          const glm::vec2& a, const glm::vec2& b, float segmentLength);
bool intersectAabbDiagonalSegment(const glm::vec2& centre, const glm::vec2& direction, float length,
                                  const glm::vec2& a, const glm::vec2& b, float segmentLength,
                                  bool rising);

}  // namespace GlmExt
