// Progress receivers supplied by the host, and the process-wide named timer.
#pragma once
#include <string>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

// Kinds of messages a receiver can subscribe to.
enum MsgType {
    MSG_PROGRESS = 0   // value in [0,1]: fraction of the current task done
};

// Abstract receiver: derive, override update() and subscribe() it to a triangulation
// or a SegmentChecker. The library never owns a receiver.
class LUMO2D_API MsgBase {
public:
    MsgBase() = default;
    MsgBase(const MsgBase&) = default;
    MsgBase& operator=(const MsgBase&) = default;
    virtual ~MsgBase();
    virtual void update(MsgType type, const std::string& text, double value) = 0;
};

// First call with a name starts a timer and returns -1.0; the second stops it and returns
// the elapsed seconds. Names starting with "[quiet]" print nothing.
LUMO2D_API double timer(const std::string& name);

} // namespace ORBI_LUMO2D
