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
    /** @param title what the log is called */
    explicit Page(std::string title) : m_title(std::move(title)) {}

    /** Takes a run with its lines; of many, the page shows the last 20. */
    void Add(const Story& story);

    bool IsEmpty() const {
        return m_count == 0;
    }

    /** The whole page. */
    std::string Code() const;

private:
    std::string m_title;
    std::size_t m_count = 0;
    std::deque<Story> m_stories;
};

}  // namespace Log
