// scintari curve: evaluates a curve or a path at given times, so that one can be checked
// from outside the editor.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <glm/geometric.hpp>

#include "debug/debug_check.h"
#include "plot/path.h"
#include "plot/path_cache.h"
#include "plot/path_sl.h"
#include "plot/plot.h"
#include "plot/plot_cache.h"
#include "plot/plot_sl.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "scintari_command.h"
#include "scintari_input.h"
#include "scintari_numbers.h"

namespace
{

const char* const help =
    "scintari curve (--keys \"<keys>\" | --file <file>) [options] [time ...]\n"
    "scintari curve (--path-keys \"<keys>\" | --path-file <file>) [options] [t ...]\n"
    "\n"
    "  Evaluates a curve at the times given, or a path at the shares of its length\n"
    "  given (0 its start, 1 its end), and prints one line per time.\n"
    "\n"
    "  --keys \"<keys>\"       a curve described by its keys, separated by spaces, in\n"
    "                        time order:\n"
    "                          T:V          a smooth key at time T with value V\n"
    "                          T:V:corner   a corner key\n"
    "                          T:IN:OUT     a broken key: IN arriving, OUT leaving\n"
    "                        and between two keys, optionally, the segment joining\n"
    "                        them: \"linear\" (the default) or \"bezier\" (the graph\n"
    "                        editor's default handles, a third of the way along the\n"
    "                        chord, aligned at smooth keys). Example:\n"
    "                          --keys \"0:0 bezier 1:2 2:1:0.5 3:0:corner\"\n"
    "  --file <file>         a curve saved as a stream: a header byte and one curve\n"
    "                        record, as --save writes it (type tags on or off)\n"
    "  --loop-left           loop the curve before its first key\n"
    "  --loop-right          loop the curve after its last key\n"
    "  --sampled             evaluate the sampled form that the compiled effect holds\n"
    "                        (15 subdivisions per Bezier segment, read by a binary\n"
    "                        search and a linear blend) instead of the curve itself\n"
    "  --path-keys \"<keys>\"  a path described by its keys, separated by spaces:\n"
    "                          X,Y          a smooth key point\n"
    "                          X,Y:corner   a corner key point\n"
    "                        and between two keys, optionally, the segment: \"linear\"\n"
    "                        (the default), \"broken\" (the path is cut there), or\n"
    "                        \"bezier:IX,IY:OX,OY\" with its two control points\n"
    "  --path-file <file>    a path saved as a stream, as --save writes it\n"
    "  --subdiv N            a path's Bezier subdivision, from 1 to 1000000 (default 15)\n"
    "  --range A B N         adds N + 1 evenly spaced times from A to B; N from 1 to\n"
    "                        1000000\n"
    "  --save <file>         also writes the curve or path record to <file>\n"
    "                        (native byte order, no type tags)\n"
    "\n"
    "  Output (exit code 0), one line per time, in the order given:\n"
    "    <t> <value>                      a curve\n"
    "    <t> <x> <y> <dx> <dy>            a path: the point and the direction at the\n"
    "                                     share t of its length, as the runtime reads\n"
    "                                     its resampled form (t is clamped to 0..1)\n"
    "  Numbers are printed with 9 significant digits (\"%.9g\"), so that they read\n"
    "  back as the same float. Times, values and points are finite decimal numbers\n"
    "  from -3.4e38 to 3.4e38; a file is a regular file of at most 67108864 bytes.\n"
    "\n"
    "  A key description that can't be read, keys out of time order or a file that\n"
    "  doesn't hold a record are refused (exit code 2) with a line\n"
    "    error: <message>\n"
    "  on standard error. Bad arguments print a usage message (exit code 1).\n";

// Thrown for input that is refused: exit code 2.
struct Refused
{
    std::string message;
};

// Any finite float: times, values and points.
const Scintari::RealRule kFiniteFloat{"a number", -Scintari::kFloatMax, Scintari::kFloatMax};

bool parseFloat(const std::string& text, float& value)
{
    std::string why;
    return Scintari::parseFloat(text, kFiniteFloat, value, why);
}

bool parseCount(const std::string& text, const char* name, unsigned& value, std::string& why)
{
    std::uint64_t v = 0;
    if (!Scintari::parseWhole(text, {name, 1, 1000000}, v, why))
        return false;
    value = static_cast<unsigned>(v);
    return true;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::string part;
    std::istringstream stream(text);
    while (std::getline(stream, part, separator))
        parts.push_back(part);
    if (!text.empty() && text.back() == separator)
        parts.push_back("");
    return parts;
}

std::vector<std::string> words(const std::string& text)
{
    std::istringstream stream(text);
    return std::vector<std::string>(std::istream_iterator<std::string>(stream),
                                    std::istream_iterator<std::string>());
}

std::string number(float value)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.9g", static_cast<double>(value));
    return buffer;
}

// "T:V", "T:V:corner", "T:IN:OUT".
struct KeyText
{
    uint32_t type;
    float time;
    float in;
    float out;
};

KeyText parseCurveKey(const std::string& word)
{
    const std::vector<std::string> parts = split(word, ':');
    KeyText key{PKT_Smooth, 0.0f, 0.0f, 0.0f};
    bool ok = (parts.size() == 2 || parts.size() == 3) && parseFloat(parts[0], key.time) &&
              parseFloat(parts[1], key.in);
    key.out = key.in;
    if (ok && parts.size() == 3)
    {
        if (parts[2] == "corner")
            key.type = PKT_Corner;
        else if (parseFloat(parts[2], key.out))
            key.type = PKT_Broken;
        else
            ok = false;
    }
    if (!ok || !std::isfinite(key.time) || !std::isfinite(key.in) || !std::isfinite(key.out))
        throw Refused{"can't read the key \"" + word + "\" (T:V, T:V:corner or T:IN:OUT)"};
    return key;
}

template <class F>
void withKey(const KeyText& key, F&& f)
{
    if (key.type == PKT_Smooth)
        f(PlotKeySmooth(key.time, key.in));
    else if (key.type == PKT_Corner)
        f(PlotKeyCorner(key.time, key.in));
    else
        f(PlotKeyBroken(key.time, key.in, key.out));
}

Plot parseCurve(const std::string& text)
{
    Plot plot;
    std::vector<unsigned> bezierSegments;
    EnumPlotSegType pending = CST_Linear;
    bool segmentGiven = false;
    for (const std::string& word : words(text))
    {
        if (word == "linear" || word == "bezier")
        {
            if (plot.getNumKeys() == 0 || segmentGiven)
                throw Refused{"a segment \"" + word + "\" must stand between two keys"};
            pending = word == "bezier" ? CST_Bezier : CST_Linear;
            segmentGiven = true;
            continue;
        }
        const KeyText key = parseCurveKey(word);
        if (plot.getNumKeys() == 0)
        {
            withKey(key, [&plot](const PlotKey& k) { plot.appendKeyBack(k); });
            continue;
        }
        const float lastTime = plot.getKey(plot.getNumKeys() - 1).time_;
        if (key.time < lastTime)
            throw Refused{"the key \"" + word + "\" lies before the key at time " +
                          number(lastTime)};
        if (pending == CST_Bezier)
            bezierSegments.push_back(plot.getNumSegments());
        withKey(key,
                [&plot](const PlotKey& k) { plot.appendKeyBackWithSegment(k, PlotSegLinear()); });
        pending = CST_Linear;
        segmentGiven = false;
    }
    if (segmentGiven)
        throw Refused{"a segment must stand between two keys"};
    if (plot.getNumKeys() == 0)
        throw Refused{"the curve has no key"};
    for (unsigned seg : bezierSegments)
        plot.convertSegmentAuto(seg, CST_Bezier, glm::vec2(1.0f));
    return plot;
}

glm::vec2 parsePoint(const std::string& text, const std::string& word)
{
    const std::vector<std::string> parts = split(text, ',');
    glm::vec2 p;
    if (parts.size() != 2 || !parseFloat(parts[0], p.x) || !parseFloat(parts[1], p.y) ||
        !std::isfinite(p.x) || !std::isfinite(p.y))
        throw Refused{"can't read the point in \"" + word + "\" (X,Y)"};
    return p;
}

Path<glm::vec2> parsePath(const std::string& text)
{
    Path<glm::vec2> path;
    bool segmentGiven = false;
    PathSegBezier<glm::vec2> bezier;
    EnumPathSegType pending = PST_Linear;
    for (const std::string& word : words(text))
    {
        if (word == "linear" || word == "broken" || word.rfind("bezier:", 0) == 0)
        {
            if (path.getNumKeys() == 0 || segmentGiven)
                throw Refused{"a segment \"" + word + "\" must stand between two keys"};
            segmentGiven = true;
            if (word == "linear")
            {
                pending = PST_Linear;
            }
            else if (word == "broken")
            {
                pending = PST_Broken;
            }
            else
            {
                const std::vector<std::string> parts = split(word, ':');
                if (parts.size() != 3)
                    throw Refused{"can't read \"" + word + "\" (bezier:IX,IY:OX,OY)"};
                bezier.inControl_ = parsePoint(parts[1], word);
                bezier.outControl_ = parsePoint(parts[2], word);
                pending = PST_Bezier;
            }
            continue;
        }
        const std::vector<std::string> parts = split(word, ':');
        if (parts.size() > 2 || (parts.size() == 2 && parts[1] != "corner"))
            throw Refused{"can't read the key \"" + word + "\" (X,Y or X,Y:corner)"};
        const PathKey<glm::vec2> key(parts.size() == 2, parsePoint(parts[0], word));
        if (path.getNumKeys() == 0)
            path.appendKeyBack(key);
        else if (pending == PST_Bezier)
            path.appendKeyBackWithSegment(key, bezier);
        else if (pending == PST_Broken)
            path.appendKeyBackWithSegment(key, PathSegBroken());
        else
            path.appendKeyBackWithSegment(key, PathSegLinear());
        pending = PST_Linear;
        segmentGiven = false;
    }
    if (segmentGiven)
        throw Refused{"a segment must stand between two keys"};
    if (path.getNumKeys() == 0)
        throw Refused{"the path has no key"};
    return path;
}

template <class T>
T loadRecord(const std::string& name, const char* what)
{
    std::vector<uint8_t> bytes;
    std::string why;
    if (!Scintari::readInputFile(name, bytes, why))
        throw Refused{why};
    T value;
    std::optional<uint64_t> at = 0;  // a stream without its header byte fails at byte 0
    try
    {
        Sl::LoaderBinArray loader(bytes.data(), static_cast<uint32_t>(bytes.size()));
        try
        {
            Sl::read(loader, value);
        }
        catch (const Sl::Exception&)
        {
            at = loader.position();
            throw;
        }
        catch (const Debug::CheckException&)
        {
            at = loader.position();
            throw;
        }
    }
    catch (const Sl::Exception& e)
    {
        throw Refused{"\"" + name + "\" doesn't hold a " + what +
                      " record: " + Scintari::describeStreamFailure(e, at)};
    }
    catch (const Debug::CheckException&)
    {
        throw Refused{"\"" + name + "\" doesn't hold a " + what + " record: the " + what +
                      " is damaged at byte " + std::to_string(*at)};
    }
    return value;
}

template <class T>
void saveRecord(const std::string& name, const T& value)
{
    Sl::SaverBinFlex saver(Sl::BO_Native, Sl::TC_Off);
    Sl::write("record", saver, value);
    const std::vector<uint8_t> bytes = saver.dataAsVector();
    std::ofstream file(name, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file)
        throw Refused{"can't write \"" + name + "\""};
}

// The compiled form of a curve, read as the runtime reads it.
float evaluateSampled(const PlotCache& cache, bool loopBefore, bool loopAfter, float t)
{
    const float timeStart = cache.getTimeStart();
    const float timeEnd = cache.getTimeEnd();
    const double span = static_cast<double>(timeEnd - timeStart);
    if (t < timeStart)
        t = loopBefore
                ? timeEnd - static_cast<float>(std::fmod(static_cast<double>(timeStart - t), span))
                : timeStart;
    if (t > timeEnd)
        t = loopAfter
                ? timeStart + static_cast<float>(std::fmod(static_cast<double>(t - timeEnd), span))
                : timeEnd;
    unsigned lo = 0, hi = cache.getNumSegments();
    while (lo < hi)
    {
        const unsigned mid = (lo + hi) / 2;
        if (cache.getSegmentEnd(mid) < t)
            lo = mid + 1;
        else
            hi = mid;
    }
    if (lo == cache.getNumSegments())
        lo = cache.getNumSegments() - 1;  // NaN input
    const PlotCacheSeg& seg = cache.getSegment(lo);
    const float x = static_cast<float>(seg.values.size() - 1) *
                    ((t - seg.start) / (cache.getSegmentEnd(lo) - seg.start));
    if (!(x >= 0.0f))
        return seg.values.front();
    const size_t i = static_cast<size_t>(x);
    if (i + 1 >= seg.values.size())
        return seg.values.back();
    const float f = x - std::floor(x);
    return seg.values[i] + f * (seg.values[i + 1] - seg.values[i]);
}

// The resampled form of a path, read as the runtime reads it: point and direction.
void evaluatePath(const PathCache<glm::vec2>& cache, float t, glm::vec2& point, glm::vec2& dir)
{
    t = std::isnan(t) ? 0.0f : std::min(std::max(t, 0.0f), 1.0f);
    unsigned s = 0;
    while (s + 1 < cache.getNumSegments() && cache.getSegment(s).normEnd < t)
        ++s;
    const PathCacheSeg<glm::vec2>& seg = cache.getSegment(s);
    const std::vector<glm::vec2>& values = seg.points;
    const size_t n = values.size();
    std::vector<glm::vec2> dirs(n + 1);
    for (size_t i = 0; i + 1 < n; ++i)
    {
        const glm::vec2 d = values[i + 1] - values[i];
        const float len = glm::length(d);
        dirs[i] = len > 0.0f ? d / len : glm::vec2(NAN);
    }
    dirs[n - 1] = dirs[n] = dirs[n - 2];
    const float width = seg.normEnd - seg.normStart;
    const float x = static_cast<float>(n - 1) * ((t - seg.normStart) / width);
    size_t i = x >= 0.0f ? static_cast<size_t>(x) : 0;
    float f = x >= 0.0f ? x - std::floor(x) : 0.0f;
    if (i + 1 >= n || !(width > 0.0f))
    {
        i = !(width > 0.0f) ? 0 : n - 1;
        f = 0.0f;
    }
    const glm::vec2 next = i + 1 < n ? values[i + 1] : values[i];
    point = values[i] + (next - values[i]) * f;
    dir = dirs[i] + (dirs[i + 1] - dirs[i]) * f;
}

int usage(const std::string& message)
{
    std::cerr << "scintari curve: " << message << "\n"
              << "usage: scintari curve (--keys \"<keys>\" | --file <file> | --path-keys \"<keys>\""
                 " | --path-file <file>) [options] [time ...]; see scintari help curve\n";
    return 1;
}

int run(const std::vector<std::string>& args)
{
    std::string keys, file, pathKeys, pathFile, saveFile;
    bool loopLeft = false, loopRight = false, sampled = false;
    unsigned subdiv = 15;
    std::vector<float> times;
    int sources = 0;
    for (size_t i = 0; i < args.size(); ++i)
    {
        const std::string& arg = args[i];
        auto value = [&](std::string& out)
        {
            if (i + 1 >= args.size())
                return false;
            out = args[++i];
            return true;
        };
        float t;
        if (arg == "--keys" || arg == "--file" || arg == "--path-keys" || arg == "--path-file")
        {
            std::string& target = arg == "--keys"        ? keys
                                  : arg == "--file"      ? file
                                  : arg == "--path-keys" ? pathKeys
                                                         : pathFile;
            if (!value(target))
                return usage(arg + " needs a value");
            ++sources;
        }
        else if (arg == "--save")
        {
            if (!value(saveFile))
                return usage("--save needs a file name");
        }
        else if (arg == "--loop-left")
        {
            loopLeft = true;
        }
        else if (arg == "--loop-right")
        {
            loopRight = true;
        }
        else if (arg == "--sampled")
        {
            sampled = true;
        }
        else if (arg == "--subdiv")
        {
            std::string text, why;
            if (!value(text))
                return usage("--subdiv needs a value");
            if (!parseCount(text, "--subdiv", subdiv, why))
                return usage(why);
        }
        else if (arg == "--range")
        {
            float a, b;
            unsigned n;
            std::string why;
            if (i + 3 >= args.size())
                return usage("--range needs A B N");
            if (!Scintari::parseFloat(
                    args[i + 1], {"A of --range", kFiniteFloat.min, kFiniteFloat.max}, a, why) ||
                !Scintari::parseFloat(
                    args[i + 2], {"B of --range", kFiniteFloat.min, kFiniteFloat.max}, b, why) ||
                !parseCount(args[i + 3], "N of --range", n, why))
                return usage(why);
            i += 3;
            for (unsigned k = 0; k <= n; ++k)
                times.push_back(a + (b - a) * (static_cast<float>(k) / static_cast<float>(n)));
        }
        else if (arg.rfind("--", 0) == 0)
        {
            return usage("unknown argument \"" + arg + "\"");
        }
        else
        {
            std::string why;
            if (!Scintari::parseFloat(arg, {"a time", kFiniteFloat.min, kFiniteFloat.max}, t, why))
                return usage(why);
            times.push_back(t);
        }
    }
    if (sources != 1)
        return usage("give exactly one of --keys, --file, --path-keys, --path-file");
    const bool isPath = !pathKeys.empty() || !pathFile.empty();
    if (isPath && (loopLeft || loopRight || sampled))
        return usage("--loop-left, --loop-right and --sampled apply to curves only");

    try
    {
        if (isPath)
        {
            const Path<glm::vec2> path = pathFile.empty()
                                             ? parsePath(pathKeys)
                                             : loadRecord<Path<glm::vec2>>(pathFile, "path");
            if (!saveFile.empty())
                saveRecord(saveFile, path);
            const PathCache<glm::vec2> cache(path, subdiv);
            for (float t : times)
            {
                glm::vec2 point, dir;
                evaluatePath(cache, t, point, dir);
                std::cout << number(t) << " " << number(point.x) << " " << number(point.y) << " "
                          << number(dir.x) << " " << number(dir.y) << "\n";
            }
            return 0;
        }
        Plot plot = file.empty() ? parseCurve(keys) : loadRecord<Plot>(file, "curve");
        if (loopLeft)
            plot.setLoopedLeft(true);
        if (loopRight)
            plot.setLoopedRight(true);
        if (!saveFile.empty())
            saveRecord(saveFile, plot);
        const PlotCache cache(plot, PlotCache::kCurveSubdivision);
        for (float t : times)
        {
            const float value =
                sampled ? evaluateSampled(cache, plot.isLoopedLeft(), plot.isLoopedRight(), t)
                        : plot.computeValue(t);
            std::cout << number(t) << " " << number(value) << "\n";
        }
        return 0;
    }
    catch (const Refused& refused)
    {
        std::cerr << "error: " << refused.message << "\n";
        return 2;
    }
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "curve", "evaluates a curve or a path at given times", help, run});

}  // namespace
