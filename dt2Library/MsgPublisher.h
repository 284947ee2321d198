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
    // The task turned out larger: n more steps to go.
    void addToTotal(size_t n) { total += n; }
    void finish();
    void setQuiet(bool b) { bQuiet = b; }
    void setDisabled(bool b) { bDisabled = b; }
    const std::string& getName() const { return name; }

private:
    void publishProgress();

    std::string name;
    std::multimap<MsgType, MsgBase*> mReceivers;
    std::string taskText;
    size_t total{0};
    size_t current{0};
    size_t reportStep{1};
    bool bQuiet{false};
    bool bDisabled{false};
    bool bActive{false};
};

} // namespace ORBI_LUMO2D
