#include "soft_renderer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

SoftRenderer::SoftRenderer(int width, int height)
    : width_(width), height_(height), pixels_(static_cast<size_t>(width) * height * 4, 0)
{
}

int SoftRenderer::addTexture(const std::string& name)
{
    // A tint from the name, so that different textures look different.
    uint32_t hash = 2166136261u;
    for (char ch : name)
        hash = (hash ^ static_cast<uint8_t>(ch)) * 16777619u;
    const float tint[3] = {0.6f + 0.4f * ((hash >> 0) & 255) / 255.0f,
                           0.6f + 0.4f * ((hash >> 8) & 255) / 255.0f,
                           0.6f + 0.4f * ((hash >> 16) & 255) / 255.0f};

    const int tile = numTiles_++;
    std::vector<uint8_t> grown(static_cast<size_t>(numTiles_) * kTile * kTile * 4, 0);
    const int oldRow = tile * kTile * 4;
    const int newRow = numTiles_ * kTile * 4;
    for (int y = 0; y < kTile; ++y)
    {
        std::copy_n(atlas_.begin() + y * oldRow, oldRow, grown.begin() + y * newRow);
        for (int x = 0; x < kTile; ++x)
        {
            const float dx = (x + 0.5f) / kTile * 2.0f - 1.0f;
            const float dy = (y + 0.5f) / kTile * 2.0f - 1.0f;
            const float spot = std::max(0.0f, 1.0f - std::sqrt(dx * dx + dy * dy));
            uint8_t* texel = &grown[static_cast<size_t>(y) * newRow + (tile * kTile + x) * 4];
            for (int k = 0; k < 3; ++k)
                texel[k] = static_cast<uint8_t>(255.0f * tint[k]);
            texel[3] = static_cast<uint8_t>(255.0f * spot);
        }
    }
    atlas_.swap(grown);
    return tile;
}

void SoftRenderer::clear(uint8_t grey)
{
    for (size_t i = 0; i < pixels_.size(); i += 4)
    {
        pixels_[i] = pixels_[i + 1] = pixels_[i + 2] = grey;
        pixels_[i + 3] = 255;
    }
}

void SoftRenderer::sample(float u, float v, float rgba[4]) const
{
    const int atlasWidth = numTiles_ * kTile;
    const int x = std::clamp(static_cast<int>(u * atlasWidth), 0, atlasWidth - 1);
    const int y = std::clamp(static_cast<int>(v * kTile), 0, kTile - 1);
    const uint8_t* texel = &atlas_[(static_cast<size_t>(y) * atlasWidth + x) * 4];
    for (int k = 0; k < 4; ++k)
        rgba[k] = texel[k] / 255.0f;
}

void SoftRenderer::drawTriangle(const Vertex& a, const Vertex& b, const Vertex& c, Blend blend,
                                bool textured)
{
    const float area = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    if (std::fabs(area) < 1e-6f)
        return;
    const int x0 = std::max(0, static_cast<int>(std::floor(std::min({a.x, b.x, c.x}))));
    const int x1 = std::min(width_ - 1, static_cast<int>(std::ceil(std::max({a.x, b.x, c.x}))));
    const int y0 = std::max(0, static_cast<int>(std::floor(std::min({a.y, b.y, c.y}))));
    const int y1 = std::min(height_ - 1, static_cast<int>(std::ceil(std::max({a.y, b.y, c.y}))));
    textured = textured && numTiles_ > 0;
    for (int y = y0; y <= y1; ++y)
        for (int x = x0; x <= x1; ++x)
        {
            // Barycentric weights of the pixel's centre; either winding is drawn.
            const float px = x + 0.5f, py = y + 0.5f;
            const float wa = ((b.x - px) * (c.y - py) - (b.y - py) * (c.x - px)) / area;
            const float wb = ((c.x - px) * (a.y - py) - (c.y - py) * (a.x - px)) / area;
            const float wc = 1.0f - wa - wb;
            if (wa < 0.0f || wb < 0.0f || wc < 0.0f)
                continue;
            float src[4] = {wa * a.r + wb * b.r + wc * c.r, wa * a.g + wb * b.g + wc * c.g,
                            wa * a.b + wb * b.b + wc * c.b, wa * a.a + wb * b.a + wc * c.a};
            if (textured)
            {
                float texel[4];
                sample(wa * a.u + wb * b.u + wc * c.u, wa * a.v + wb * b.v + wc * c.v, texel);
                for (int k = 0; k < 4; ++k)
                    src[k] *= texel[k];
            }
            uint8_t* dst = &pixels_[(static_cast<size_t>(y) * width_ + x) * 4];
            for (int k = 0; k < 3; ++k)
            {
                const float d = dst[k] / 255.0f;
                float out = d;
                switch (blend)
                {
                case Blend::Normal:
                    out = src[k] * src[3] + d * (1.0f - src[3]);
                    break;
                case Blend::Add:
                    out = d + src[k] * src[3];
                    break;
                case Blend::Multiply:
                    out = d * (1.0f - src[3] + src[3] * src[k]);
                    break;
                }
                dst[k] = static_cast<uint8_t>(std::clamp(out, 0.0f, 1.0f) * 255.0f + 0.5f);
            }
        }
}

uint64_t SoftRenderer::checksum() const
{
    uint64_t hash = 14695981039346656037ull;
    for (uint8_t byte : pixels_)
        hash = (hash ^ byte) * 1099511628211ull;
    return hash;
}

bool SoftRenderer::writePpm(const std::string& path) const
{
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    std::fprintf(file, "P6\n%d %d\n255\n", width_, height_);
    for (size_t i = 0; i < pixels_.size(); i += 4)
        std::fwrite(&pixels_[i], 1, 3, file);
    return std::fclose(file) == 0;
}
