/** Keeps the television's tokens, codes and verifiers out of what is shown or leaves the machine. */
#pragma once

#include <string>

#include "Cli/Masker.h"

namespace Television {

class Masker : public Cli::Masker {
public:
    using Cli::Masker::Masker;

    /** Learns from the television's records in keys/, those of all users. What cannot be read has no secrets.
     */
    void LearnKeys();

    /**
     * A record of the key manager with each text replaced that is not known to be harmless, however short.
     * One that cannot be read is replaced whole, since nobody can tell what is in it.
     */
    std::string MaskRecord(const std::string& alias, const std::string& record);
};

}  // namespace Television
