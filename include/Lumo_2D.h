// Lumo 2D: the one header a host includes. It brings in the whole public API.
#pragma once
#include "Lumo2D_defs.h"
#include "LumoException.h"
#include "MsgBase.h"
#include "Point2.h"
#include "Vector2.h"
#include "Bbox2.h"
#include "Segment2.h"
#include "Edge2.h"
#include "Circle2.h"
#include "VertexPair2.h"
#include "Orientation2.h"
#include "Triangle2.h"
