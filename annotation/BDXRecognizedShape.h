#pragma once

// The codes in which stroke recognition answers. A line is only ever matched to veto the other shapes;
// it is never the answer.
enum BDXRecognizedShape : int {
    BDXRecognizedShapeCircle = 0,
    BDXRecognizedShapeRectangle = 1,
    BDXRecognizedShapeArrow = 2,
    BDXRecognizedShapeLine = 3,
    BDXRecognizedShapeNone = 4,
};

// The analytics attribute that names a recognised shape; nullptr for the line, which is never reported,
// and for codes outside the enumeration.
inline const char* BDXRecognizedShapeAnalyticsAttribute(int shape) {
    switch (shape) {
        case BDXRecognizedShapeCircle:
            return "shape_circle";
        case BDXRecognizedShapeRectangle:
            return "shape_square";
        case BDXRecognizedShapeArrow:
            return "shape_arrow";
        case BDXRecognizedShapeNone:
            return "shape_none";
        default:
            return nullptr;
    }
}
