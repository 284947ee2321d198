#include "MsgPublisher.h"
#include <chrono>
#include <iomanip>
#include <iostream>

namespace ORBI_LUMO2D {

MsgBase::~MsgBase() {}

void MsgPublisher::subscribe(MsgType type, MsgBase* pReceiver) {
    auto range = mReceivers.equal_range(type);
    for (auto it = range.first; it != range.second; ++it)
        if (it->second == pReceiver) return;
    mReceivers.emplace(type, pReceiver);
}

void MsgPublisher::unsubscribe(MsgType type, MsgBase* pReceiver) {
    auto range = mReceivers.equal_range(type);
    for (auto it = range.first; it != range.second; ++it) {
        if (it->second == pReceiver) {
            mReceivers.erase(it);
            return;
        }
    }
}

void MsgPublisher::publish(MsgType type, const std::string& text, double value) const {
    auto range = mReceivers.equal_range(type);
    for (auto it = range.first; it != range.second; ++it) it->second->update(type, text, value);
}

void MsgPublisher::start(const std::string& text, size_t total_) {
    if (bDisabled || mReceivers.empty()) return;
    taskText = text;
    total = total_;
    current = 0;
    reportStep = total / 100 == 0 ? 1 : total / 100;
    base = 0.0;
    baseCurrent = 0;
    bActive = true;
}

void MsgPublisher::publishProgress() {
    if (bQuiet || total == 0) return;
    publish(MSG_PROGRESS, taskText, fraction());
}

void MsgPublisher::finish() {
    if (bDisabled || mReceivers.empty()) return;
    current = total;
    if (!bQuiet) publish(MSG_PROGRESS, taskText, 1.0);
    taskText.clear();
    total = current = baseCurrent = 0;
    base = 0.0;
    reportStep = 1;
    bActive = false;
}

// ---- timer ---------------------------------------------------------------------
namespace {
std::map<std::string, int64_t>& timerTable() {
    static std::map<std::string, int64_t> table;
    return table;
}
int64_t counterNow() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch()).count();
}
} // namespace

double timer(const std::string& name) {
    const bool bQuiet = name.compare(0, 7, "[quiet]") == 0;
    auto& table = timerTable();
    auto it = table.find(name);
    if (it == table.end()) {
        table.emplace(name, counterNow());
        if (!bQuiet) std::cout << "...Timer [" << name << "] start" << std::endl;
        return -1.0;
    }
    const double elapsed = double(counterNow() - it->second) * 1e-9;
    table.erase(it);
    if (!bQuiet) {
        const std::ios::fmtflags flags = std::cout.flags();
        std::cout << "...Timer [" << name << "] stop, elapsed time: " << std::fixed << std::setprecision(3)
                  << elapsed << " s" << std::endl;
        // The host's stream keeps its own notation; the precision goes back to the default 6.
        std::cout.flags(flags);
        std::cout << std::setprecision(6);
    }
    return elapsed;
}

} // namespace ORBI_LUMO2D
