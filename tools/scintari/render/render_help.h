#pragma once

// The help text of `scintari render`, shown by the tool and by the program
// that draws.
namespace ScintariRender
{

inline const char* const kHelp =
    "scintari render <compiled effect> --out frame.png [--time T] [--size WxH]\n"
    "                [--camera dx dy dz ux uy uz rx ry rz] [--frames N --every K]\n"
    "                [--textures DIR] [--background RRGGBB] [--scale S]\n"
    "\n"
    "  Runs the compiled effect (as written by the editor's binary compiler) from\n"
    "  its start to the time T (seconds, default 1) and draws one frame without a\n"
    "  window, with OpenGL in an offscreen frame buffer, into a PNG file. Works on\n"
    "  a software renderer (e.g. under xvfb-run -a with Mesa). An effect file (a\n"
    "  name ending in .sxed) is compiled in memory first; the emitters that don't\n"
    "  compile are left out and told on standard error as `scintari compile`\n"
    "  tells them.\n"
    "\n"
    "  --out PATH           the PNG file (required)\n"
    "  --time T             simulated seconds before the first frame (default 1),\n"
    "                       from 0 to 1000000\n"
    "  --size WxH           image size in pixels (default 512x512), each from 1 to 8192\n"
    "  --camera d.. u.. r.. view direction, up and right, 9 numbers (default\n"
    "                       0 0 -1  0 1 0  1 0 0: looking down -z, y up), each from\n"
    "                       -1000000 to 1000000\n"
    "  --frames N           number of frames (default 1), from 1 to 100000\n"
    "  --every K            seconds between frames of a sequence (default 1/30),\n"
    "                       above 0 up to 1000000\n"
    "  --textures DIR       folder of the effect's textures (default: the folder\n"
    "                       of the compiled effect); a missing or unreadable\n"
    "                       texture is drawn as a red and white checkerboard\n"
    "  --background RRGGBB  background colour in hex (default 000000)\n"
    "  --scale S            world units per pixel (default 1), above 0 up to 1e12;\n"
    "                       the view is an orthographic one centred on the emitter\n"
    "                       at the origin\n"
    "  Numbers are read whole and strictly (finite decimals within the ranges\n"
    "  above); the compiled effect is a regular file of at most 67108864 bytes.\n"
    "\n"
    "  With more than one frame, PATH names a sequence: a printf pattern such as\n"
    "  frame%04d.png is filled with the frame number from 0; otherwise the number\n"
    "  goes before the extension as _NNNN (frame_0000.png, frame_0001.png, ...).\n"
    "\n"
    "  Output on success (exit code 0), one line per frame on standard output:\n"
    "    frame <i> time <seconds> calls <render calls> triangles <n> file <path>\n"
    "  and one line per texture that could not be loaded, on standard error:\n"
    "    warning: texture <name> can't be loaded from <path>; drawn as a checkerboard\n"
    "  Exit codes: 1 bad arguments, 2 the effect was refused (the message says\n"
    "  why, for damaged data with the byte offset where reading stopped), 3 no\n"
    "  OpenGL context or the image could not be written.\n";

}  // namespace ScintariRender
