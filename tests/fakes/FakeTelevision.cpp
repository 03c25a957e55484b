#include <bluetooth.h>
#include <ckmc/ckmc-manager.h>
#include <dlog.h>
#include <glib.h>
#include <sso.h>
#include <system_info.h>
#include <vconf.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "FakePlatform.h"

using Fake::Enter;
using Fake::Misused;
using Fake::TheState;
using Fake::Tv;

namespace {

/** Hands a value over as the platform does: a copy of the caller's own. */
template <typename Map, typename Key>
int DeliverText(const std::optional<int>& error, const Map& values, const Key& key, char** text) {
    const auto value = values.find(key);
    if (error || value == values.end()) {
        return error.value_or(-1);
    }
    *text = strdup(value->second.c_str());
    return Tv().resultToIgnore;
}

template <typename Map, typename Value>
int Write(const std::optional<int>& error, Map& values, const char* key, const Value& value) {
    if (!error) {
        values[key] = value;
    }
    return error.value_or(0);
}

/** A traced call "[NAME(LINE)]" without its line, which each edit moves. */
std::string WithoutLine(std::string message) {
    const auto line = message.rfind('(');
    if (line != std::string::npos && g_str_has_suffix(message.c_str(), ")]") == TRUE &&
        message.find_first_not_of("0123456789", line + 1) == message.size() - 2) {
        message.replace(line, std::string::npos, "]");
    }
    return message;
}

}  // namespace

int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...) {
    if (log_id != LOG_ID_MAIN || std::strcmp(tag, "BT_INFOSYNC") != 0 ||
        std::strncmp(fmt, "%s: %s(%d) > ", std::strlen("%s: %s(%d) > ")) != 0) {
        Misused(std::string("a log entry of another kind: ") + fmt);
    }
    va_list args;
    va_start(args, fmt);
    char* text = g_strdup_vprintf(fmt, args);
    va_end(args);
    if (TheState().keep == Fake::Keep::ERRORS && prio < DLOG_ERROR) {
        g_free(text);
        return 0;
    }
    const std::string entry = text;
    g_free(text);
    const auto file = entry.find(": ");
    const auto arrow = entry.find(") > ");
    const auto line = entry.rfind('(', arrow);
    const Fake::LogEntry logged{prio, entry.substr(0, file), entry.substr(file + 2, line - file - 2),
                                entry.substr(arrow + 4)};
    Fake::Note(std::string(1, "UVDIWEF"[prio - 1]) + " " + logged.file + ": " + logged.function + ": " +
               WithoutLine(logged.message));
    TheState().log.push_back(logged);
    return 0;
}

int vconf_get_int(const char* in_key, int* intval) {
    const auto error = Enter("vconf_get_int", in_key);
    const auto value = Tv().intSettings.find(in_key);
    if (error || value == Tv().intSettings.end()) {
        return error.value_or(-1);
    }
    *intval = value->second;
    return Tv().resultToIgnore;
}

int vconf_set_int(const char* in_key, int intval) {
    return Write(Enter("vconf_set_int", std::string(in_key) + "=" + std::to_string(intval)), Tv().intSettings,
                 in_key, intval);
}

char* vconf_get_str(const char* in_key) {
    char* text = nullptr;
    DeliverText(Enter("vconf_get_str", in_key), Tv().textSettings, in_key, &text);
    return text;
}

int vconf_set_str(const char* in_key, const char* strval) {
    return Write(Enter("vconf_set_str", std::string(in_key) + "=" + strval), Tv().textSettings, in_key,
                 strval);
}

int ckmc_save_data(const char* alias, const ckmc_raw_buffer_s data, const ckmc_policy_s policy) {
    const auto error =
        Enter("ckmc_save_data", alias, std::string(reinterpret_cast<const char*>(data.data), data.size));
    if (policy.password != nullptr || !policy.extractable) {
        Misused("a record that could not be read back");
    }
    if (!error && Tv().records.count(alias) > 0) {
        return CKMC_ERROR_DB_ALIAS_EXISTS;
    }
    return Write(error, Tv().records, alias,
                 std::string(reinterpret_cast<const char*>(data.data), data.size));
}

int ckmc_get_data(const char* alias, const char* password, ckmc_raw_buffer_s** data) {
    const auto error = Enter("ckmc_get_data", alias);
    if (password != nullptr) {
        Misused("a password for a record that has none");
    }
    const auto record = Tv().records.find(alias);
    if (error || record == Tv().records.end()) {
        return error.value_or(CKMC_ERROR_DB_ALIAS_UNKNOWN);
    }
    auto* buffer = new ckmc_raw_buffer_s{nullptr, 0};
    if (record->second) {
        // Of exactly the record's size, so that reading on past it shows.
        buffer->size = record->second->size();
        buffer->data = new unsigned char[buffer->size];
        std::copy(record->second->begin(), record->second->end(), buffer->data);
    }
    Fake::HandOut(buffer);
    *data = buffer;
    return CKMC_ERROR_NONE;
}

int ckmc_remove_alias(const char* alias) {
    const auto error = Enter("ckmc_remove_alias", alias);
    return error ? *error : Tv().records.erase(alias) > 0 ? CKMC_ERROR_NONE : CKMC_ERROR_DB_ALIAS_UNKNOWN;
}

void ckmc_buffer_free(ckmc_raw_buffer_s* buffer) {
    Fake::Note("> ckmc_buffer_free");
    Fake::TakeBack(buffer);
    delete[] buffer->data;
    delete buffer;
}

int system_info_get_value_string(system_info_key_e key, char** value) {
    return DeliverText(Enter("system_info_get_value_string", std::to_string(key)), Tv().systemInfo,
                       static_cast<int>(key), value);
}

int system_info_get_platform_string(const char* key, char** value) {
    return DeliverText(Enter("system_info_get_platform_string", key), Tv().platformInfo, key, value);
}

int bt_initialize() {
    return Enter("bt_initialize").value_or(BT_ERROR_NONE);
}

int bt_deinitialize() {
    return Enter("bt_deinitialize").value_or(BT_ERROR_NONE);
}

int bt_adapter_get_bonded_device_info(const char* remote_address, bt_device_info_s** device_info) {
    const auto error = Enter("bt_adapter_get_bonded_device_info", remote_address);
    const auto bond = Tv().bonds.find(remote_address);
    if (error || bond == Tv().bonds.end()) {
        return error.value_or(BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    }
    *device_info = new bt_device_info_s{strdup(remote_address), bond->second};
    Fake::HandOut(*device_info);
    return Tv().resultToIgnore;
}

int bt_adapter_free_device_info(bt_device_info_s* device_info) {
    Fake::Note("> bt_adapter_free_device_info");
    Fake::TakeBack(device_info);
    std::free(device_info->remote_address);
    delete device_info;
    return BT_ERROR_NONE;
}

int sso_get_login_state(int* state) {
    const auto error = Enter("sso_get_login_state");
    auto& states = Tv().signInStates;
    if (!error) {
        *state = states.at(0);
    }
    if (states.size() > 1) {
        states.erase(states.begin());
    }
    return error.value_or(Tv().resultToIgnore);
}

int sso_get_login_user_id(char** login_id) {
    const auto error = Enter("sso_get_login_user_id");
    if (error || !Tv().loginId) {
        return error.value_or(-1);
    }
    *login_id = strdup(Tv().loginId->c_str());
    return Tv().resultToIgnore;
}

int sso_request_user_authcode(const char* client_id, const char* scope, sso_authcode_cb callback,
                              void* user_data) {
    Enter("sso_request_user_authcode", std::string(client_id) + " " + scope);
    TheState().authCodeRequests.push_back({client_id, scope, callback, user_data, std::nullopt});
    const GSourceFunc deliver = [](gpointer) -> gboolean {
        auto& request = TheState().authCodeRequests.back();
        const auto& answer = *Tv().authCodeAnswer;
        request.returned = request.callback(request.userData, answer.result,
                                            answer.document ? answer.document->c_str() : nullptr);
        return FALSE;
    };
    if (Tv().authCodeAnswer) {
        g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, deliver, nullptr, nullptr);
    }
    return Tv().resultToIgnore;
}
