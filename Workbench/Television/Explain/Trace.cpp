#include "Television/Explain/Trace.h"

#include <json/json.h>

#include <algorithm>

#include "Television/Explain/KnownLines.h"
#include "Television/Explain/Pattern.h"
#include "Util/JsonUtil.h"

namespace Explain {

namespace {

constexpr std::size_t MOST_PROCESSES = 1000;
constexpr std::size_t DEEPEST_CALL = 1000;

/** Microseconds since midnight; 0 for a time of another kind. */
std::int64_t TimeOfDay(const std::string& time) {
    constexpr std::int64_t US_PER_SECOND = 1000000;
    constexpr std::size_t FRACTION_DIGITS = 6;
    static const Pattern pattern(R"((?<h>\d\d):(?<m>\d\d):(?<s>\d\d)(?:[.,](?<fraction>\d{1,6}))?)");
    const Pattern::Match found = pattern.Find(time);
    if (!found) {
        return 0;
    }
    std::string fraction(found["fraction"]);
    fraction.resize(FRACTION_DIGITS, '0');
    const std::int64_t seconds = (Number(found["h"]) * 60 + Number(found["m"])) * 60 + Number(found["s"]);
    return seconds * US_PER_SECOND + Number(fraction);
}

/** "CBtInfoSync::Start" of "void CBtInfoSync::Start()(72)". */
std::string ShortName(const std::string& call) {
    const std::string name = call.substr(0, call.find('('));
    return name.substr(name.rfind(' ') + 1);
}

}  // namespace

Trace::Trace(std::ostream& out) : m_out(out) {
    m_out << R"({"displayTimeUnit":"ms","traceEvents":[)";
}

void Trace::Take(const LogLine& line) {
    const bool isEntry = StartsWith(line.message, "IN >> [");
    if (!isEntry && !StartsWith(line.message, "OUT << [")) {
        return;
    }
    if (m_processes.size() > MOST_PROCESSES) {
        m_processes.clear();
    }
    Process& process = m_processes[line.pid];
    const std::int64_t clock = TimeOfDay(line.time);
    // At midnight, or when the clock is set back, time goes on from where it was.
    process.offset += std::max<std::int64_t>(process.clock - clock, 0);
    process.clock = clock;
    // Lines of one time, and all of a log without times, are a microsecond apart.
    process.now = std::max(process.now + 1, clock + process.offset);
    const std::size_t begin = line.message.find('[') + 1;
    const std::string call = line.message.substr(begin, line.message.rfind(']') - begin);
    std::vector<std::string>& calls = process.calls;
    if (isEntry && calls.size() < DEEPEST_CALL) {
        calls.push_back(call);
        Write(line, "B", process.now, call);
    }
    // An exit without an entry in the log is passed over; entries without an exit end with the call around
    // them.
    bool isOpen = !isEntry && std::find(calls.begin(), calls.end(), call) != calls.end();
    for (; isOpen; calls.pop_back()) {
        isOpen = calls.back() != call;
        Write(line, "E", process.now, calls.back());
    }
}

void Trace::Finish() {
    m_out << "\n]}\n";
}

void Trace::Write(const LogLine& line, const char* phase, std::int64_t time, const std::string& call) {
    Json::Value event;
    event["name"] = ShortName(call);
    event["ph"] = phase;
    event["ts"] = static_cast<Json::Int64>(time);
    event["pid"] = event["tid"] = static_cast<Json::Int64>(line.pid);
    event["args"]["call"] = call;
    event["args"]["log line"] = static_cast<Json::UInt64>(line.number);
    m_out << (m_count++ == 0 ? "\n" : ",\n") << InfoSyncUtil::WriteJson(event);
}

}  // namespace Explain
