/** The local cloud whose folder tv.ini names: it is found there anew at each request, on whatever port it
 * listens. */
#pragma once

#include <string>

class TvIni;

struct CloudSite {
    /** Empty where tv.ini names none. */
    std::string folder;

    /** As tv.ini has it; a relative folder is relative to the television's. */
    static CloudSite Of(const TvIni& ini);

    /** The certificates that it has. */
    std::string CaFile() const;

    /** Where it noted down that it listens. @throws std::runtime_error with what helps, when it did not */
    int Port() const;

    /** The same of one that still runs, as far as this machine's processes tell. */
    int LivePort() const;
};
