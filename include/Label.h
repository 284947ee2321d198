// Label: a text (line breaks allowed) drawn at a position by Visualizer2.
#pragma once
#include <string>
#include "Point2.h"

namespace ORBI_LUMO2D {

class LUMO2D_API Label {
public:
    Label(const Point2& pos, const std::string& text, int fontSize = 10)
        : pos(pos), text(text), fontSize(fontSize) {}

    const Point2& getPosition() const { return pos; }
    const std::string& getText() const { return text; }
    int getFontSize() const { return fontSize; }

private:
    Point2 pos;
    std::string text;
    int fontSize;
};

} // namespace ORBI_LUMO2D
