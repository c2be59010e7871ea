#include "particle_layout_model/plm_area.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include <zlib.h>

#include "debug/debug_check.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"
#include "revision_saveload/sl_scoped_group.h"

namespace Plm
{

namespace
{

// No painted area comes near this many cells (16384 by 16384): a larger stated size is
// corrupt data, refused before anything is allocated for it.
constexpr uint32_t kMaxImageSize = 1u << 28;
// Deflate can't shrink data by more than about 1032 to 1: a stated image larger than that
// many times its compressed form can't be what the stream holds.
constexpr uint64_t kMaxDeflateRatio = 1032;

// target = op(target, source) over the overlap of the source, placed with its first cell at
// (offsetX, offsetY) in the target, and the target.
template <class Op>
void copyImage(const uint8_t* source, uint32_t sourceWidth, uint32_t sourceHeight, uint8_t* target,
               uint32_t targetWidth, uint32_t targetHeight, int64_t offsetX, int64_t offsetY, Op op)
{
    const int64_t i0 = std::max<int64_t>(0, -offsetX);
    const int64_t i1 = std::min<int64_t>(sourceWidth, int64_t(targetWidth) - offsetX);
    const int64_t j0 = std::max<int64_t>(0, -offsetY);
    const int64_t j1 = std::min<int64_t>(sourceHeight, int64_t(targetHeight) - offsetY);
    if (i0 >= i1 || j0 >= j1)
        return;
    for (int64_t j = j0; j < j1; ++j)
    {
        const uint8_t* from = source + j * sourceWidth;
        uint8_t* to = target + (j + offsetY) * int64_t(targetWidth) + offsetX;
        for (int64_t i = i0; i < i1; ++i)
            to[i] = op(to[i], from[i]);
    }
}

// The source cells that one output cell of a box filter covers along one axis, and how
// much of each: first and last may be partial, those between are whole.
struct Cover
{
    uint32_t first = 0;
    uint32_t last = 0;
    float firstWeight = 1.0f;
    float lastWeight = 1.0f;
};

std::vector<Cover> axisCover(uint32_t sourceSize, uint32_t outSize, float cell)
{
    std::vector<Cover> covers(outSize);
    for (uint32_t k = 0; k < outSize; ++k)
    {
        const float start = float(k) * cell;
        const float end = float(k + 1) * cell;
        Cover& c = covers[k];
        c.first = std::min(uint32_t(start), sourceSize - 1);
        const float startFraction = start - float(c.first);
        // A fraction of 0 is a cell covered whole.
        c.firstWeight = startFraction == 0.0f ? 1.0f : 1.0f - startFraction;
        const float endFloor = std::floor(end);
        const float endFraction = end - endFloor;
        const uint32_t last = endFraction == 0.0f ? uint32_t(endFloor) - 1 : uint32_t(endFloor);
        if (last >= sourceSize)
        {
            // Rounding carried the end past the image: its last cell is covered whole.
            c.last = sourceSize - 1;
            c.lastWeight = 1.0f;
        }
        else
        {
            c.last = std::max(last, c.first);
            c.lastWeight = endFraction == 0.0f ? 1.0f : endFraction;
        }
        if (c.first == c.last)
            c.firstWeight = c.lastWeight = c.firstWeight + c.lastWeight - 1.0f;
    }
    return covers;
}

float coverWeight(const Cover& c, uint32_t index)
{
    if (index == c.first)
        return c.firstWeight;
    if (index == c.last)
        return c.lastWeight;
    return 1.0f;
}

class VectorSink final : public Sl::BinarySink
{
public:
    explicit VectorSink(std::vector<uint8_t>& target) : target_(target) {}
    void reserve(uint32_t totalSize) override { target_.reserve(totalSize); }
    void append(const uint8_t* data, uint32_t size) override
    {
        target_.insert(target_.end(), data, data + size);
    }

private:
    std::vector<uint8_t>& target_;
};

std::vector<uint8_t> readBinaryBytes(Sl::Loader& loader)
{
    std::vector<uint8_t> bytes;
    VectorSink sink(bytes);
    loader.readBinary(sink);
    return bytes;
}

// Inflates a zlib stream that must hold exactly imageSize bytes. The buffer grows with the
// output that really arrives, one byte beyond the stated size so that a longer stream shows.
std::vector<uint8_t> inflateImage(const std::vector<uint8_t>& packed, uint32_t imageSize)
{
    z_stream stream{};
    int ret = inflateInit(&stream);
    DEBUG_ASSERT(ret == Z_OK);
    const size_t limit = size_t(imageSize) + 1;
    std::vector<uint8_t> image(std::min(limit, std::max<size_t>(packed.size() * 4, 1u << 16)));
    stream.next_in = const_cast<Bytef*>(packed.data());
    stream.avail_in = uInt(packed.size());
    stream.next_out = image.data();
    stream.avail_out = uInt(image.size());
    for (;;)
    {
        ret = inflate(&stream, Z_NO_FLUSH);
        // Anything else is damaged or cut short; Z_BUF_ERROR is a stream that stopped early.
        if (ret != Z_OK)
            break;
        if (stream.avail_out == 0)
        {
            if (image.size() == limit)
                break;
            const size_t done = image.size();
            image.resize(std::min(limit, done * 2));
            stream.next_out = image.data() + done;
            stream.avail_out = uInt(image.size() - done);
        }
    }
    const uLong produced = stream.total_out;
    inflateEnd(&stream);
    if (ret != Z_STREAM_END || produced != imageSize)
        throw Sl::CorruptedDataException();
    image.resize(imageSize);
    return image;
}

}  // namespace

Area::Area(int32_t x, int32_t y, uint32_t width, uint32_t height, const uint8_t* data)
    : valid_(true), x_(x), y_(y), width_(width), height_(height), image_(size_t(width) * height, 0)
{
    if (data && !image_.empty())
        std::memcpy(image_.data(), data, image_.size());
}

uint8_t Area::getCell(uint32_t column, uint32_t row) const
{
    DEBUG_ASSERT(column < width_ && row < height_);
    return image_[size_t(row) * width_ + column];
}

void Area::reposition(int32_t x, int32_t y, uint32_t width, uint32_t height)
{
    std::vector<uint8_t> image(size_t(width) * height, 0);
    if (valid_ && !image_.empty() && !image.empty())
        copyImage(image_.data(), width_, height_, image.data(), width, height, int64_t(x_) - x,
                  int64_t(y_) - y, [](uint8_t, uint8_t source) { return source; });
    valid_ = height != 0 || valid_;
    x_ = x;
    y_ = y;
    width_ = width;
    height_ = height;
    image_ = std::move(image);
}

void Area::drawBrush(const std::vector<uint8_t>& brush, uint32_t brushSize, int32_t x, int32_t y,
                     bool erase)
{
    DEBUG_ASSERT(brush.size() == size_t(brushSize) * brushSize);
    if (!valid_ || brushSize == 0 || image_.empty())
        return;
    if (erase)
        copyImage(brush.data(), brushSize, brushSize, image_.data(), width_, height_, x, y,
                  [](uint8_t target, uint8_t source) { return subClamped(target, source); });
    else
        copyImage(brush.data(), brushSize, brushSize, image_.data(), width_, height_, x, y,
                  [](uint8_t target, uint8_t source) { return addClamped(target, source); });
}

void Area::tryToReduce(float threshold, float fraction)
{
    if (!valid_ || image_.empty())
        return;
    const auto used = [&](uint32_t column, uint32_t row)
    { return float(image_[size_t(row) * width_ + column]) >= threshold; };
    const auto rowUsed = [&](uint32_t row)
    {
        for (uint32_t c = 0; c < width_; ++c)
            if (used(c, row))
                return true;
        return false;
    };
    uint32_t top = 0;
    while (top < height_ && !rowUsed(top))
        ++top;
    if (top == height_)
        return;
    uint32_t bottom = height_ - 1;
    while (!rowUsed(bottom))
        --bottom;

    // The outermost used columns within those rows; each scan stops where it can't do better.
    uint32_t left = width_;
    uint32_t right = 0;
    for (uint32_t r = top; r <= bottom; ++r)
    {
        for (uint32_t c = 0; c < left; ++c)
            if (used(c, r))
            {
                left = c;
                break;
            }
        for (uint32_t c = width_ - 1; c > right; --c)
            if (used(c, r))
            {
                right = c;
                break;
            }
    }

    const float w = float(width_);
    const float h = float(height_);
    const bool cutLeft = float(left) > w * fraction;
    const bool cutRight = w - fraction * w > float(right);
    const bool cutTop = float(top) > h * fraction;
    bool cutBottom = h - fraction * h > float(bottom);
    // Once the top moves, the bottom follows the paint too.
    if (cutTop)
        cutBottom = true;
    else if (!cutBottom && !cutLeft && !cutRight)
        return;

    const uint32_t newLeft = cutLeft ? left : 0;
    const uint32_t newRight = cutRight ? right : width_ - 1;
    const uint32_t newTop = cutTop ? top : 0;
    const uint32_t newBottom = cutBottom ? bottom : height_ - 1;
    reposition(int32_t(int64_t(x_) + newLeft), int32_t(int64_t(y_) + newTop),
               newRight - newLeft + 1, newBottom - newTop + 1);
}

void Area::optimize(Area& out, uint32_t optPixelSize) const
{
    DEBUG_ASSERT(optPixelSize != 0);
    DEBUG_ASSERT(valid_);
    if (width_ == 0 || height_ == 0)
    {
        // Nothing to filter; the sizes below would wrap around.
        out = Area(x_, y_, width_, height_, nullptr);
        return;
    }
    const uint32_t optWidth = (width_ - 1) / optPixelSize + 1;
    const uint32_t optHeight = (height_ - 1) / optPixelSize + 1;
    const float cellW = float(width_) / float(optWidth);
    const float cellH = float(height_) / float(optHeight);
    const std::vector<Cover> columns = axisCover(width_, optWidth, cellW);
    const std::vector<Cover> rows = axisCover(height_, optHeight, cellH);
    const double area = double(cellW) * double(cellH);

    std::vector<uint8_t> image(size_t(optWidth) * optHeight);
    for (uint32_t j = 0; j < optHeight; ++j)
    {
        const Cover& rowCover = rows[j];
        for (uint32_t i = 0; i < optWidth; ++i)
        {
            const Cover& columnCover = columns[i];
            double sum = 0.0;
            for (uint32_t r = rowCover.first; r <= rowCover.last; ++r)
            {
                const uint8_t* row = image_.data() + size_t(r) * width_;
                double rowSum = 0.0;
                for (uint32_t c = columnCover.first; c <= columnCover.last; ++c)
                    rowSum += double(coverWeight(columnCover, c)) * row[c];
                sum += double(coverWeight(rowCover, r)) * rowSum;
            }
            const double value = sum / area;
            image[size_t(j) * optWidth + i] = value >= 255.0 ? 255 : uint8_t(value);
        }
    }
    out = Area(x_, y_, optWidth, optHeight, image.data());
}

std::vector<uint8_t> Area::createBrush(float innerRadius, float outerRadius, float strength,
                                       uint32_t& size)
{
    DEBUG_ASSERT(innerRadius >= 0.f);
    DEBUG_ASSERT(outerRadius > 0.f);
    size = uint32_t(std::ceil(outerRadius + outerRadius)) | 1u;
    const int centre = int(size / 2);
    std::vector<uint8_t> brush(size_t(size) * size);
    for (int row = 0; row < int(size); ++row)
    {
        for (int column = 0; column < int(size); ++column)
        {
            const float dx = float(column - centre);
            const float dy = float(row - centre);
            const float d = std::sqrt(dx * dx + dy * dy);
            int value = 0;
            if (d > outerRadius)
            {
                value = 0;
            }
            else if (d < innerRadius)
            {
                value = int(strength * 255);
            }
            else
            {
                const float t = (d - innerRadius) / (outerRadius - innerRadius);
                // A rim of no width (inner == outer) gives 0 / 0 at the outer radius: such a cell
                // is unpainted, which is also what the cast of that NaN yields on x86.
                const int ramp = std::isnan(t) ? 0 : int((1 - t) * 255);
                value = int(float(ramp & 255) * strength);
            }
            brush[size_t(row) * size + column] = uint8_t(value);
        }
    }
    return brush;
}

void Area::save(Sl::Saver& saver) const
{
    saver.write("is_valid", valid_);
    if (!valid_)
        return;
    saver.write("x", x_);
    saver.write("y", y_);
    saver.write("width", width_);
    saver.write("height", height_);
    DEBUG_ASSERT(image_.size() <= std::numeric_limits<uint32_t>::max());
    const uint32_t imageSize = uint32_t(image_.size());
    if (imageSize == 0)
    {
        saver.write("compressed", false);
        saver.write("image_size", imageSize);
        return;
    }

    // One pass into a buffer of the raw size: output that fills it isn't worth keeping.
    std::vector<uint8_t> packed(imageSize);
    z_stream stream{};
    int ret = deflateInit(&stream, 9);
    DEBUG_ASSERT(ret == Z_OK);
    stream.next_in = const_cast<Bytef*>(image_.data());
    stream.avail_in = imageSize;
    stream.next_out = packed.data();
    stream.avail_out = imageSize;
    ret = deflate(&stream, Z_FINISH);
    const uint32_t packedSize = imageSize - stream.avail_out;
    const bool compressed = ret == Z_STREAM_END && stream.avail_out != 0;
    deflateEnd(&stream);
    DEBUG_ASSERT(ret != Z_STREAM_ERROR);

    saver.write("compressed", compressed);
    saver.write("image_size", imageSize);
    if (compressed)
    {
        saver.write("proc_image_size", packedSize);
        saver.writeBinary("image", packed.data(), packedSize);
    }
    else
    {
        saver.writeBinary("image", image_.data(), imageSize);
    }
}

void Area::load(Sl::Loader& loader, Area& area)
{
    bool valid = false;
    loader.read(valid);
    if (!valid)
    {
        area = Area();
        return;
    }
    Area loaded;
    loaded.valid_ = true;
    loader.read(loaded.x_);
    loader.read(loaded.y_);
    loader.read(loaded.width_);
    loader.read(loaded.height_);
    bool compressed = false;
    loader.read(compressed);
    uint32_t imageSize = 0;
    loader.read(imageSize);
    if (uint64_t(loaded.width_) * loaded.height_ != imageSize || imageSize > kMaxImageSize)
        throw Sl::CorruptedDataException();

    if (compressed)
    {
        uint32_t packedSize = 0;
        loader.read(packedSize);
        // An empty image is never compressed.
        if (imageSize == 0 || uint64_t(imageSize) > (uint64_t(packedSize) + 1) * kMaxDeflateRatio)
            throw Sl::CorruptedDataException();
        const std::vector<uint8_t> packed = readBinaryBytes(loader);
        if (packed.size() != packedSize)
            throw Sl::CorruptedDataException();
        loaded.image_ = inflateImage(packed, imageSize);
    }
    else if (imageSize != 0)
    {
        if (imageSize > loader.maxDataLeft())
            throw Sl::EndOfBufferException();
        loaded.image_ = readBinaryBytes(loader);
        if (loaded.image_.size() != imageSize)
            throw Sl::CorruptedDataException();
    }
    area = std::move(loaded);
}

bool Area::operator==(const Area& other) const
{
    if (valid_ != other.valid_)
        return false;
    if (!valid_)
        return true;
    return x_ == other.x_ && y_ == other.y_ && width_ == other.width_ && height_ == other.height_ &&
           image_ == other.image_;
}

void PropValue<Area>::write(const char* name, Sl::Saver& saver, const Area& value)
{
    Sl::write(name, saver, value);
}

void PropValue<Area>::read(Sl::Loader& loader, Area& value) { Sl::read(loader, value); }

}  // namespace Plm

namespace Sl
{

void write(const char* name, Saver& saver, const Plm::Area& area)
{
    ScopedSaverGroup group(name, saver);
    area.save(saver);
}

void read(Loader& loader, Plm::Area& area)
{
    ScopedLoaderGroup group(loader);
    Plm::Area::load(loader, area);
}

}  // namespace Sl
