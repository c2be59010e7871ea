#pragma once

#include <cstdint>
#include <vector>

#include "particle_layout_model/plm_prop_value_sl.h"

namespace Sl
{
class Saver;
class Loader;
}  // namespace Sl

namespace Plm
{

// A grey image laid on the integer grid of the effect's plane: one cell is one world unit,
// 0 is no paint and 255 full paint. The runtime picks points with a probability that
// follows the paint, from the shrunk copy that optimize() makes.
class Area
{
public:
    // An invalid area: it has nothing else.
    Area() = default;
    // A valid area whose image copies width * height bytes, row by row. A null `data` gives
    // a blank image.
    Area(int32_t x, int32_t y, uint32_t width, uint32_t height, const uint8_t* data);

    bool isValid() const { return valid_; }
    int32_t getX() const { return x_; }
    int32_t getY() const { return y_; }
    uint32_t getWidth() const { return width_; }
    uint32_t getHeight() const { return height_; }
    const std::vector<uint8_t>& getImage() const { return image_; }
    uint8_t getCell(uint32_t column, uint32_t row) const;

    // Moves the window of the image over the plane: cells keep their world positions, those
    // outside the new window are lost and new ones are blank.
    void reposition(int32_t x, int32_t y, uint32_t width, uint32_t height);

    // Adds a square brush of brushSize * brushSize cells, its first cell at (x, y) in cells
    // of the image, or takes it away when `erase`. Both saturate, so paint accumulates.
    void drawBrush(const std::vector<uint8_t>& brush, uint32_t brushSize, int32_t x, int32_t y,
                   bool erase);

    // Crops empty margins that are worth it: those wider than `fraction` of the side. Cells
    // below `threshold` count as empty.
    void tryToReduce(float threshold, float fraction);

    // The image shrunk by box filtering into cells of about optPixelSize source cells, for
    // export. `out` keeps the position.
    void optimize(Area& out, uint32_t optPixelSize) const;

    // A round brush: full `strength` inside innerRadius, fading to nothing at outerRadius.
    // `size` receives its side, always odd.
    static std::vector<uint8_t> createBrush(float innerRadius, float outerRadius, float strength,
                                            uint32_t& size);

    // The named fields, with no group around them; the image is deflated when that helps.
    void save(Sl::Saver& saver) const;
    // Reads what save() wrote. `area` changes only once the whole record has been read; bad
    // data raises an Sl::Exception.
    static void load(Sl::Loader& loader, Area& area);

    bool operator==(const Area& other) const;
    bool operator!=(const Area& other) const { return !(*this == other); }

private:
    bool valid_ = false;
    int32_t x_ = 0;
    int32_t y_ = 0;
    uint32_t width_ = 0;
    uint32_t height_ = 0;
    std::vector<uint8_t> image_;
};

// The operations by which a brush meets the image.
inline uint8_t addClamped(uint8_t target, uint8_t source)
{
    const unsigned int sum = unsigned(target) + unsigned(source);
    return static_cast<uint8_t>(sum > 255u ? 255u : sum);
}
inline uint8_t subClamped(uint8_t target, uint8_t source)
{
    return static_cast<uint8_t>(target > source ? target - source : 0);
}

// The stream form of an area as a property value: a group holding Area::save's fields.
template <>
struct PropValue<Area>
{
    static void write(const char* name, Sl::Saver& saver, const Area& value);
    static void read(Sl::Loader& loader, Area& value);
};

}  // namespace Plm

namespace Sl
{

// One group under `name` with the fields of Plm::Area::save.
void write(const char* name, Saver& saver, const Plm::Area& area);
void read(Loader& loader, Plm::Area& area);

}  // namespace Sl
