/** The runs of a log as one web page that needs nothing else: no script, no network. */
#pragma once

#include <json/json.h>

#include <string>

#include "Television/Log/Story.h"

namespace Log {

/** What the page shows of a run: its story with a picture of who said what to whom. */
Json::Value PageOf(const Run& run, const Story& story);

class Page {
public:
    /** Takes what PageOf() made out of the story; of many runs, the page shows the last 20. */
    void Add(Story& story);

    /** The whole page. @param title what the log is called */
    std::string Code(const std::string& title) const;

private:
    Json::UInt64 m_count = 0;
    Json::Value m_runs{Json::arrayValue};
};

}  // namespace Log
