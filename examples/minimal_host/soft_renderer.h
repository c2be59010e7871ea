#pragma once

// The example's renderer: triangles into an RGBA image in memory, with the runtime's three
// blend modes and one texture atlas. It stands for the game's own renderer; a GPU renderer
// uploads the same vertex and index buffers (see drawRenderCalls in main.cpp).

#include <cstdint>
#include <string>
#include <vector>

struct Vertex
{
    float x, y;        // on the screen, in pixels
    float r, g, b, a;  // 0..1
    float u, v;        // in the atlas, 0..1
};

enum class Blend
{
    Normal,    // over: src * a + dst * (1 - a)
    Add,       // dst + src * a
    Multiply,  // dst * src, faded by a
};

class SoftRenderer
{
public:
    SoftRenderer(int width, int height);

    // The atlas: one square tile per texture, side by side. A game decodes the effect's texture
    // files; the example makes a soft round spot for each, shaded by the name, so that it needs
    // no image library. Returns the tile's index.
    int addTexture(const std::string& name);
    int numTiles() const { return numTiles_; }

    void clear(uint8_t grey);
    // `textured`: sample the atlas at (u, v); otherwise the vertex colour alone.
    void drawTriangle(const Vertex& a, const Vertex& b, const Vertex& c, Blend blend,
                      bool textured);

    const std::vector<uint8_t>& pixels() const { return pixels_; }  // RGBA, row by row
    int width() const { return width_; }
    int height() const { return height_; }
    // FNV-1a of the pixels: one number to compare runs by.
    uint64_t checksum() const;
    bool writePpm(const std::string& path) const;

private:
    void sample(float u, float v, float rgba[4]) const;

    int width_;
    int height_;
    std::vector<uint8_t> pixels_;
    static constexpr int kTile = 32;
    int numTiles_ = 0;
    std::vector<uint8_t> atlas_;  // RGBA, kTile rows of numTiles_ * kTile texels
};
