/** The runs of a log as one web page that needs nothing else: no script, no network. */
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <utility>

#include "Television/Log/Story.h"

namespace Log {

class Page {
public:
    /** @param title what the log is called; device: of which records alone it is to tell, empty for all */
    Page(std::string title, std::string device) : m_title(std::move(title)), m_device(std::move(device)) {}

    /** Takes a run with its lines; of many, the page shows the last 20. */
    void Add(const Run& run);

    /** The whole page. */
    std::string Code() const;

private:
    std::string m_title;
    std::string m_device;
    std::size_t m_count = 0;
    std::deque<Run> m_runs;
};

}  // namespace Log
