// Progress reporter owned by a triangulation or a segment checker; the receivers belong to the host.
#pragma once
#include <cstddef>
#include <map>
#include <string>
#include "MsgBase.h"

namespace ORBI_LUMO2D {

class MsgPublisher {
public:
    explicit MsgPublisher(const std::string& name) : name(name) {}

    // Registers a receiver once per type; unsubscribe removes that pair.
    void subscribe(MsgType type, MsgBase* pReceiver);
    void unsubscribe(MsgType type, MsgBase* pReceiver);
    bool hasReceivers() const { return !mReceivers.empty(); }
    // Calls update() on every receiver of this type, in registration-map order.
    void publish(MsgType type, const std::string& text, double value) const;

    // ---- progress of one task: start, step as work proceeds, finish ---------------
    void start(const std::string& text, size_t total);
    // Advances by one step; publishes the fraction done at every reporting step before the
    // end (the final 1.0 comes from finish()).
    void step() {
        ++current;
        if (bActive && current % reportStep == 0 && current < total) publishProgress();
    }
    // Advances by n steps at once; publishes when a reporting step has been passed.
    void advance(size_t n) {
        const size_t before = current / reportStep;
        current += n;
        if (bActive && current / reportStep != before && current < total) publishProgress();
    }
    // The task turned out larger: n more steps to go. The fraction reached so far stays, and
    // what is left of the bar is spread over the steps still to go, so it never runs back.
    void addToTotal(size_t n) {
        if (bActive) rebase();
        total += n;
        if (bActive) reportStep = total / 100 == 0 ? 1 : total / 100;
    }
    void finish();
    void setQuiet(bool b) { bQuiet = b; }
    void setDisabled(bool b) { bDisabled = b; }
    const std::string& getName() const { return name; }

private:
    void publishProgress();
    double fraction() const {
        return base + (1.0 - base) * double(current - baseCurrent) / double(total - baseCurrent);
    }
    void rebase() {
        if (current == baseCurrent) return;
        base = current < total ? fraction() : 1.0;
        baseCurrent = current;
    }

    std::string name;
    std::multimap<MsgType, MsgBase*> mReceivers;
    std::string taskText;
    size_t total{0};
    size_t current{0};
    size_t reportStep{1};
    double base{0.0};        // the fraction at step baseCurrent, where the total last grew
    size_t baseCurrent{0};
    bool bQuiet{false};
    bool bDisabled{false};
    bool bActive{false};
};

} // namespace ORBI_LUMO2D
