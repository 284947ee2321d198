// Line-by-line reading of text point files, shared by the readers of the formats built on
// the .node layout (a .poly file starts with a .node section).
#pragma once
#include <istream>
#include <string>
#include <vector>
#include "Point2.h"

namespace ORBI_LUMO2D {

class TextLineReader {
public:
    TextLineReader(std::istream& in, const std::string& name) : in(in), name(name) {}
    // The next line that holds data, without its comment and line end; false at the end.
    bool next(std::string& line);
    size_t lineNumber() const { return numLine; }
    // Print "<name>:<line>: <text>" (the line last returned) and return false.
    bool failAtLine(const std::string& text) const;
    // Print "<name>: <text>" and return false.
    bool fail(const std::string& text) const;

private:
    std::istream& in;
    const std::string& name;
    size_t numLine{0};
};

// The fields of a line split at blanks and tabs (separator ' ') or at the separator.
std::vector<std::string> splitFields(const std::string& line, char separator);
// A finite double spanning the whole field (surrounding blanks allowed).
bool parseFinite(const std::string& field, double& value);
// A whole number spanning the whole field.
bool parseInteger(const std::string& field, long long& value);
// "'<field>' is not a finite number" (long fields shortened).
std::string notANumber(const std::string& field);

// Reads a .node section: the header line and its points (custom index = the file's index).
bool readNodeSection(TextLineReader& reader, std::vector<Point2>& vPointsOut);

} // namespace ORBI_LUMO2D
