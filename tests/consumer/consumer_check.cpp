// Built against the installed library: what a host relies on across the library boundary.
#include <iostream>
#include <string>
#include <vector>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {
int failures = 0;
void check(bool ok, const char* what) {
    if (!ok) {
        std::cout << "FAILED: " << what << "\n";
        ++failures;
    }
}

struct Receiver : public MsgBase {
    int numCalls = 0;
    void update(MsgType, const std::string&, double) override { ++numCalls; }
};
} // namespace

int main() {
    // A LumoException thrown inside the library is caught by its own type here.
    bool caught = false;
    try {
        std::vector<double> v;
        generateRandomNumbers(3, 1.0, 1.0, v, 1);
    } catch (const LumoException& e) {
        caught = std::string(e.what()).find("LUMO EXCEPTION") != std::string::npos;
    }
    check(caught, "LumoException caught across the boundary");

    // A host-side receiver uses the library's MsgBase vtable and destructor.
    MsgBase* r = new Receiver;
    r->update(MSG_PROGRESS, "task", 0.5);
    check(static_cast<Receiver*>(r)->numCalls == 1, "MsgBase derivation");
    delete r;

    check(getMajorVersionNumber() == 1 && getMinorVersionNumber() == 81 && getRevisionNumber() == 493, "version");
    Point2 p(0, 0), q(1, 0), s(0, 1);
    check(getOrientation2(&p, &q, &s) == ORIENTATION2_CCW, "orientation");
    check(timer("[quiet] consumer") == -1.0 && timer("[quiet] consumer") >= 0.0, "timer");
    std::cout << (failures == 0 ? "consumer ok" : "consumer FAILED") << "\n";
    return failures == 0 ? 0 : 1;
}
