/** Gathers what the lines of one process tell of its run. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Television/Explain/ListReader.h"
#include "Television/Explain/LogForms.h"
#include "Television/Explain/Run.h"

namespace Explain {

class RunReader {
public:
    RunReader(std::size_t number, std::int64_t pid);

    /** A line of the service's own, or one that something else wrote in its process. */
    void Take(const LogLine& line);
    /** The run as far as the log tells of it. The reader is of no use afterwards. */
    Run Finish();

    bool SawEnd() const {
        return m_run.sawEnd;
    }
    std::size_t LastLine() const {
        return m_lastLine;
    }

private:
    /** What a message of the service begins with, and what it tells; an empty text fits all. */
    struct Rule {
        std::string_view file;
        std::string_view function;
        std::string_view start;
        /** The step that the line belongs to, unless the run is further on. */
        Step step;
        /** Gets the message after its beginning. */
        void (*note)(RunReader& reader, std::string_view rest) = nullptr;
    };
    static const Rule* FindRule(const LogLine& line);

    void TakeServiceLine(const LogLine& line);
    void TakePlatformLine(const LogLine& line);
    void Keep(const LogLine& line, const std::string& text);
    void Advance(Step step);
    void TakeText(std::string_view text);
    void TakeFault(const LogLine& line, const std::string& text);
    void AddFault(const Fault& fault, bool endsRun);
    std::string Causes() const;
    void LocateUnanswered();

    void Missing(const char* record);
    void AskToken(Run::Token token, const std::string& why);
    void Ask(Exchange& exchange, const std::string& why);
    void TakeLifetime(std::int64_t seconds);
    std::string RanOut(const std::string& what);
    Exchange* Answered();
    void TakeStatus(std::string_view status);
    void TakeBatch(std::string_view batch);
    void TakeSkipped(std::string_view words);

    Run m_run;
    /** Of the service's last line. */
    std::string m_function;
    std::size_t m_lastLine = 0;
    /** What the last expiry test found: "for another 5 minutes", "5 minutes before". */
    std::string m_lifetime;
    ListReader m_list;
    /** What the platform said went wrong, by its tag: the stores at first, others last. */
    std::map<std::string, std::string> m_causes;
};

}  // namespace Explain
