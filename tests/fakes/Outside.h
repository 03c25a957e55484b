/**
 * Whole runs of the service with one thing that comes in from outside in any shape, on a set that has
 * synchronised before and has another user besides: shared by the table of shapes and the fuzz targets.
 */
#pragma once

#include <string>

namespace Outside {

/** The fuzz targets are built in this order. */
enum Input {
    TOKEN_ANSWER,
    REFRESH_ANSWER,
    ACTIVATION_ANSWER,
    APP_TOKEN_ANSWER,
    RECORDS_ANSWER,
    REFUSAL,
    SIGN_IN_DOCUMENT,
    STORED_TOKEN,
    STORED_CODE,
    STORED_RECORDS,
    STORED_JWT,
    STORED_ACTIVATION,
    DEVICE_LIST,
    INPUT_COUNT
};

std::string Name(Input input);

/** One that nothing is wrong with; of a refusal, the one that asks for the records to be discarded. */
std::string Good(Input input);

/** The entry of a user whose token was issued at the second 900, a hundred before now. */
std::string TokenEntry(int lifetime, int refreshLifetime);

enum Verdict : char {
    /** The run made the device list as it must be, and the next one asks for no more than changes. */
    TAKEN = '.',
    /** The list is made, but the run or the next one had to ask anew for something that is kept. */
    ASKED_ANEW = 'a',
    /** The good devices are listed, others too. */
    LISTED_MORE = '+',
    /** The run ended early and left what is stored as it was. */
    REFUSED = '-',
    /** The run stored something and ended early; the next good ones mend it. */
    STORED = 's',
    /** The next runs do not make the list until the cloud sends everything again. */
    LOST = 'L',
    /** A token that cannot be used or refreshed, which is kept until it runs out. */
    STUCK = 'F',
};

struct Outcome {
    Verdict verdict = TAKEN;
    /** What must never be and was; empty when all was as it must be. */
    std::string wrong;
};

/**
 * A run with the input, then good ones after which the device list must be right, once it was taken away.
 * Whatever the input is: a run ends by itself with the status 0 and its last line, other users keep what was
 * stored of them, and a device list that is not JSON stays as it is.
 */
Outcome Try(Input input, const std::string& text, long status = 200, bool whole = true);

}  // namespace Outside
