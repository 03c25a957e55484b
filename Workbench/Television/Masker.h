/** Keeps the television's tokens, codes and verifiers out of what is shown or leaves the machine. */
#pragma once

#include <string>
#include <vector>

#include "Cli/LearningMasker.h"
#include "Television/Explain/LogForms.h"

namespace Television {

class Masker : public Cli::LearningMasker {
public:
    using Cli::LearningMasker::LearningMasker;

    /** Learns from the television's records in keys/, those of all users. What cannot be read has no secrets.
     */
    void LearnKeys();

    /**
     * A record of the key manager with each text replaced that is not known to be harmless, however short.
     * One that cannot be read is replaced whole, since nobody can tell what is in it.
     */
    std::string MaskRecord(const std::string& alias, const std::string& record);

    /** The line of a run's log, its message and its whole text masked. Learns from it, too. */
    Explain::LogLine MaskLine(Explain::LogLine line);

    /** The same for a whole log. */
    std::string MaskLog(const std::string& log);
};

/**
 * The secrets that a television holds now, read apart from how they are masked, to prove that none is left:
 * tokens of all users, the code and its verifier; those of 8 characters and more.
 */
std::vector<std::string> StoredSecrets();

/** A record of tokens or activations, all of which have run out; one that cannot be read stays as it is. */
std::string WithEverythingRunOut(const std::string& alias, const std::string& record);

}  // namespace Television
