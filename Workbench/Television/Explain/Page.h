/** The runs of a log as one web page that needs nothing else: no script, no network. */
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <utility>

#include "Television/Explain/Run.h"

namespace Explain {

class Page {
public:
    /** @param title what the log is called */
    explicit Page(std::string title) : m_title(std::move(title)) {}

    /** Takes a run; of many, the page shows the last 20. */
    void Add(const Run& run);

    /** The whole page. */
    std::string Code() const;

private:
    std::string m_title;
    std::size_t m_count = 0;
    std::deque<Run> m_runs;
};

}  // namespace Explain
