/** Where the log's entries go, and which of them. */
#pragma once

#include <unistd.h>

#include <cstdarg>
#include <mutex>
#include <string>

class TvIni;

class LogSink {
public:
    /** What tv.ini says of the log is read here and never again. A file that cannot be opened is told. */
    explicit LogSink(const TvIni& ini);
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;
    ~LogSink();

    /** Drops what is below the level. @return the number of bytes written, or a negative error number */
    int Write(int priority, const char* tag, const char* format, std::va_list values);

private:
    void Open(const std::string& path);
    std::string Head(int priority, const char* tag) const;
    void Warn(const std::string& problem);
    int WriteLines(const std::string& lines);

    int m_level;
    std::string m_format;
    int m_descriptor = STDERR_FILENO;
    bool m_isFile = false;
    bool m_isJournal;
    std::mutex m_mutex;
};
