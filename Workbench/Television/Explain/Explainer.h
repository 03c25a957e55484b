/** From a log to the runs in it. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string_view>

#include "Television/Explain/LogForms.h"
#include "Television/Explain/Run.h"
#include "Television/Explain/RunReader.h"
#include "Television/Masker.h"

namespace Explain {

class Explainer {
public:
    /** @param onRun gets each run when the log has no more of it; @param onLine each line of the service's */
    Explainer(std::function<void(const Run&)> onRun, LogForms::Handler onLine);

    /** Takes a piece of the log, however it was cut. */
    void Feed(std::string_view piece);
    void Finish();

private:
    void TakeLine(const LogLine& line);
    RunReader* ReaderOf(const LogLine& line);
    void End(std::int64_t pid);

    LogForms m_forms;
    Television::Masker m_masker;
    std::function<void(const Run&)> m_onRun;
    LogForms::Handler m_onLine;
    std::size_t m_count = 0;
    /** Runs under way, by process. */
    std::map<std::int64_t, RunReader> m_readers;
};

}  // namespace Explain
