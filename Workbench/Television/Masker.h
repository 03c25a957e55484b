/** Keeps the television's tokens, codes and verifiers out of what is shown or leaves the machine. */
#pragma once

#include <string>

#include "Cli/LearningMasker.h"
#include "Television/Explain/LogForms.h"

namespace Television {

class Masker : public Cli::LearningMasker {
public:
    using Cli::LearningMasker::LearningMasker;

    /** Learns from the television's records in keys/, those of all users. What cannot be read has no secrets.
     */
    void LearnKeys();

    /** The line of a run's log, its message and its whole text masked. Learns from it, too. */
    Explain::LogLine MaskLine(Explain::LogLine line);

    /** The same for a whole log. */
    std::string MaskLog(const std::string& log);
};

}  // namespace Television
