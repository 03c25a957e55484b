/** The names that values stand under in what the service sends, receives, stores and logs. Case does not
 * matter. */
#pragma once

#include <string_view>

namespace Cli {

/** Whether tokens, codes and verifiers stand under the name. */
bool IsSecretName(std::string_view name);

/** Whether what stands under the name may be shown: whose or which device it is, what was asked and answered.
 */
bool IsHarmlessName(std::string_view name);

}  // namespace Cli
