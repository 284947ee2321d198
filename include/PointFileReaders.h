// Strict point readers for files that people write and other programs export: "x y" text,
// CSV, the .node format, and the library's binary point file, with format detection.
//
// Unlike readXY (whitespace-separated pairs up to the first token that is not a number),
// these readers check every line, so a file in another layout is refused instead of being
// read as wrong points. A failure prints one line on standard output, "<name>:<line>: <reason>"
// (or "<name>: <reason>" when no single line is at fault), returns false and leaves the output
// vector unchanged. Empty lines and comments (from '#' to the end of the line) are skipped in
// the text formats; numbers must be finite.
#pragma once
#include <iosfwd>
#include <string>
#include <vector>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

enum PointFileFormat {
    PFF_AUTO = 0,    // detect (readPointFile, readPointStream)
    PFF_XY = 1,      // one "x y" pair per line
    PFF_CSV = 2,     // comma-separated, an optional header naming the columns x and y
    PFF_NODE = 3,    // header "n 2 attributes markers", then "index x y [attributes] [marker]"
    PFF_BINARY = 4   // the binary point file of writePointsBIN (type 20, or 30 with z dropped)
};

// "xy", "csv", "node", "binary" ("auto" for PFF_AUTO).
LUMO2D_API const char* getString(PointFileFormat format);

// ---- one reader per format (name is used in messages only) -------------------------------

// Exactly two numbers per line.
LUMO2D_API bool readPointsXY(std::istream& in, const std::string& name, std::vector<Point2>& vPointsOut);
// Records of equally many fields. A first line that is not all numbers is the header and
// must name an "x" and a "y" column (case and blanks ignored; other columns are skipped);
// without a header there are exactly two columns, x and y.
LUMO2D_API bool readPointsCSV(std::istream& in, const std::string& name, std::vector<Point2>& vPointsOut);
// The header's count of points, dimension 2, attribute count and marker flag (0 or 1) fix
// each line's fields; indices run consecutively from the first one (usually 0 or 1). Each
// point keeps its index as its custom index; attributes and markers are checked and dropped.
LUMO2D_API bool readPointsNode(std::istream& in, const std::string& name, std::vector<Point2>& vPointsOut);
// The binary point file; the announced count must match the bytes that follow exactly.
LUMO2D_API bool readPointsBinary(std::istream& in, const std::string& name, std::vector<Point2>& vPointsOut);

// ---- detection ---------------------------------------------------------------------------

// The format of a file from its first bytes (at least the first line) and its name: binary
// by its type field; ".node" and ".csv" by extension; otherwise a first data line with a
// comma is CSV, one of four integers with dimension 2 is a .node header, anything else xy.
LUMO2D_API PointFileFormat detectPointFileFormat(const std::string& head, const std::string& name);

// Reads the whole stream in the given format (PFF_AUTO: detected from its content and name);
// pFormatOut, if given, receives the format used.
LUMO2D_API bool readPointStream(std::istream& in, const std::string& name, PointFileFormat format,
                                std::vector<Point2>& vPointsOut, PointFileFormat* pFormatOut = nullptr);
// As readPointStream on the file; a file that cannot be opened gives "<filename>: cannot be opened".
LUMO2D_API bool readPointFile(const char* filename, PointFileFormat format, std::vector<Point2>& vPointsOut,
                              PointFileFormat* pFormatOut = nullptr);

} // namespace ORBI_LUMO2D
