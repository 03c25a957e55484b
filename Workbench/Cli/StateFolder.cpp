#include "Cli/StateFolder.h"

#include <glib.h>

#include "Cli/Errors.h"

namespace Cli {

std::string StateFolder(const char* variable, const char* name) {
    const char* chosen = g_getenv(variable);
    if (chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    const std::string state = g_get_user_state_dir();
    if (g_path_is_absolute(state.c_str()) == FALSE) {
        throw UsageError("HOME and XDG_STATE_HOME must be absolute paths: \"" + state + "\" is none");
    }
    return state + "/" + name;
}

}  // namespace Cli
