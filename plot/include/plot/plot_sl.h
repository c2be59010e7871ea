#pragma once

class Plot;

namespace Sl
{
class Saver;
class Loader;

// The save form of a curve: one group under `name` holding "looped_back" (the left side),
// "looped_front" (the right side), "num_keys", then a group "key" per key ("type" 50, 51 or
// 52, "time", and "value" or "in_value" and "out_value"), each key but the first followed by
// the segment leading to it ("seg", and for a Bezier "in_ctrl", "in_length", "out_ctrl",
// "out_length").
void write(const char* name, Saver& saver, const Plot& plot);

// Reads a curve written by write(). The plot is replaced only once the whole record has been
// read: a corrupt record (an unknown key or segment code, keys out of time order, a handle
// outside its segment in time where the segment has a width, a value that isn't a finite
// number) raises Sl::CorruptedDataException and leaves `plot` as it was, as do the stream's
// own exceptions.
void read(Loader& loader, Plot& plot);

}  // namespace Sl
