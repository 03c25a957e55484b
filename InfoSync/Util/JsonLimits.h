/** How heavy the JSON texts may be that are parsed, so that no run outgrows its memory. */
#pragma once

#include <cstddef>

namespace InfoSyncUtil {

/** A text beyond any of them is refused. */
struct JsonLimits {
    std::size_t bytes;
    /** Counted before anything is built: one, and one more for each ',', '[' and '{' outside texts. */
    std::size_t values;
    int depth;
};

/*
 * What a text costs once it is built, measured with jsoncpp 1.9.5 on 64 bits: an element of an array 96
 * bytes, a member 32 more for its name, a text 32 more, an array or object 64 more; no value more than 192,
 * and a byte for each of the text's own. A usual device has five values and takes 880 bytes in the records,
 * and six and 940 in the list.
 *
 * What a run holds at its peaks, in MiB, when the HTTP client lets 8 MiB of an answer through:
 *
 *                                              merging    writing records    writing the list
 *   the process                                  16             16                 16
 *   three documents of TOKENS                    12             12                 12
 *   the answer's text, twice                     16             16                 16
 *   RECORDS and BATCH built: values             212            189          89 (MERGED_RECORDS)
 *   RECORDS and BATCH built: bytes               32             32                  -
 *   DEVICE_LIST built                             -              -                 93
 *   the batch's devices in the list               -              -                 83
 *   the text that is made, twice                  -            114                 72
 *                                               288            379                381
 *
 * Merging two values of a record takes 112 bytes beside the 320 of the record itself. Control characters and
 * invalid bytes are written six times as long; 510,000 values of 192 bytes leave 5 MiB of an answer for them.
 * In the list the batch's devices are the shortest that can be, 90,000, and all others the usual ones. The
 * highest peaks that were made on purpose: 324 MiB in tests/e2e/weight_test.py, 373 MiB by 500,000 stored
 * values, 500,000 downloaded ones and control characters.
 */

/** The parser's own limit on nesting. */
inline constexpr int STORED_DEPTH = 1000;
/** Storing an answer puts it under its user's name: what was accepted must be readable again. */
inline constexpr int ANSWER_DEPTH = STORED_DEPTH - 8;
/** The list has four levels, and is logged indented: 600,000 values at level 1,000 make a text of 600 MB. */
inline constexpr int LIST_DEPTH = 40;

inline constexpr std::size_t MEBIBYTE = std::size_t{1} << 20U;
inline constexpr std::size_t ANY_NUMBER = ~std::size_t{0};

namespace Limits {

/** For texts that the tools keep for themselves. */
inline constexpr JsonLimits NO_WEIGHT{ANY_NUMBER, ANY_NUMBER, STORED_DEPTH};
/** Every answer but a download's, and what a server says when it refuses: some kilobytes. */
inline constexpr JsonLimits ANSWER{MEBIBYTE / 4, 4'000, ANSWER_DEPTH};
/** What is stored of such answers, for some users. */
inline constexpr JsonLimits TOKENS{MEBIBYTE, 16'000, STORED_DEPTH};
/** A download; 100,000 devices of four members are 19 MB and 500,000 values. */
inline constexpr JsonLimits BATCH{20 * MEBIBYTE, 510'000, ANSWER_DEPTH};
/** The stored records: what one batch alone may bring fits, and room for names that are written longer. */
inline constexpr JsonLimits RECORDS{24 * MEBIBYTE, 520'000, STORED_DEPTH};
/** Records that are merged: a little more, so that a few devices can be added to whatever could be read. */
inline constexpr JsonLimits MERGED_RECORDS{ANY_NUMBER, 530'000, STORED_DEPTH};
/** The device list: six values for each of 100,000 devices. */
inline constexpr JsonLimits DEVICE_LIST{20 * MEBIBYTE, 620'000, LIST_DEPTH};

}  // namespace Limits

}  // namespace InfoSyncUtil
