// Common definitions of the public API: the export macro and forward declarations.
#pragma once

#if defined(LUMO2D_SHARED)
  #if defined(LUMO2D_BUILDING)
    #define LUMO2D_API __attribute__((visibility("default")))
  #else
    #define LUMO2D_API
  #endif
#else
  #define LUMO2D_API
#endif

namespace ORBI_LUMO2D {
class Point2;
class Vector2;
class Bbox2;
class Segment2;
class Edge2;
class Circle2;
class VertexPair2;
class Triangle2;
class GeomTest;
class MsgBase;
class Visualizer2;
class Lumo_2D;
} // namespace ORBI_LUMO2D
