#include <bluetooth.h>
#include <dlfcn.h>
#include <dlog.h>
#include <glib.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "AdapterDevices.h"
#include "Bluez.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace {

using Bluez::Devices;

std::string UpperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), &g_ascii_toupper);
    return text;
}

/** What tv.ini says of the adapter, taken out of it anew when the file has changed. */
class Settings {
public:
    void Refresh() {
        const auto ini = TvFolder::ReadIni();
        if (ini == m_ini) {
            return;
        }
        m_isFromBluez = ini->Text(TvKeys::BT_SOURCE) == "bluez";
        m_devices.clear();
        for (const std::string& address : ini->List(TvKeys::KNOWN)) {
            m_devices[UpperCase(address)] = false;
        }
        for (const std::string& address : ini->List(TvKeys::BONDED)) {
            m_devices[UpperCase(address)] = true;
        }
        m_ini = ini;
    }
    /**
     * The same at most once in a tick of the kernel's clock, a few milliseconds: to look at the file is a
     * system call, and a bond is looked up for each record.
     */
    void RefreshOncePerTick() {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        if (now.tv_sec != m_tick.tv_sec || now.tv_nsec != m_tick.tv_nsec) {
            m_tick = now;
            Refresh();
        }
    }
    bool IsFromBluez() const {
        return m_isFromBluez;
    }
    const Devices& Listed() const {
        return m_devices;
    }

private:
    std::shared_ptr<const TvIni> m_ini;
    timespec m_tick = {};
    bool m_isFromBluez = false;
    Devices m_devices;
};

/** From where it was installed with the program (in PREFIX/bin) alone: no search path has a say. */
void* LoadBluez() {
    const std::unique_ptr<char, decltype(&g_free)> program(g_file_read_link("/proc/self/exe", nullptr),
                                                           &g_free);
    if (!program) {
        return nullptr;
    }
    const auto prefix = std::filesystem::path(program.get()).parent_path().parent_path();
    return dlopen((prefix / INFOSYNC_MODULE_DIR / Bluez::MODULE).c_str(), RTLD_NOW);
}

Devices ReadFromBluez() {
    // Never closed: GIO's types cannot be unloaded.
    static void* const module = LoadBluez();
    void* const read = module == nullptr ? nullptr : dlsym(module, Bluez::READ_DEVICES);
    if (read == nullptr) {
        throw std::runtime_error(std::string(Bluez::MODULE) + " could not be loaded");
    }
    Devices devices;
    reinterpret_cast<Bluez::ReadDevices*>(read)(devices);
    return devices;
}

/** What BlueZ said last; it is asked again after some seconds, not for each of many thousand look-ups. */
class BluezDevices {
public:
    /** Null when BlueZ could not be asked, which is told once. */
    const Devices* Get() {
        const auto now = Clock::now();
        if (!m_readAt || now - *m_readAt >= KEPT_FOR) {
            Read();
            m_readAt = Clock::now();
        }
        return m_devices ? &*m_devices : nullptr;
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds KEPT_FOR{5};

    void Read() {
        std::string problem;
        try {
            m_devices = ReadFromBluez();
        } catch (const std::exception& error) {
            m_devices.reset();
            problem = error.what();
        }
        if (!problem.empty() && problem != m_told) {
            __dlog_print(LOG_ID_MAIN, DLOG_WARN, "BLUETOOTH", "%s", problem.c_str());
        }
        m_told = problem;
    }

    std::optional<Clock::time_point> m_readAt;
    std::optional<Devices> m_devices;
    std::string m_told;
};

struct Adapter {
    bool initialized = false;
    Settings settings;
    BluezDevices bluez;

    /** Null when BlueZ could not be asked. */
    const Devices* Known() {
        return settings.IsFromBluez() ? bluez.Get() : &settings.Listed();
    }
};

Adapter& TheAdapter() {
    static Adapter adapter;
    return adapter;
}

int MakeInfo(const std::string& address, bool isBonded, bt_device_info_s** info) {
    auto* made = static_cast<bt_device_info_s*>(std::calloc(1, sizeof(bt_device_info_s)));
    if (made == nullptr) {
        return BT_ERROR_OPERATION_FAILED;
    }
    made->remote_address = strdup(address.c_str());
    made->is_bonded = isBonded;
    *info = made;
    return BT_ERROR_NONE;
}

}  // namespace

std::map<std::string, bool> AdapterDevices() {
    Adapter& adapter = TheAdapter();
    const Devices* devices = adapter.initialized ? adapter.Known() : nullptr;
    return devices == nullptr ? std::map<std::string, bool>()
                              : std::map<std::string, bool>(devices->begin(), devices->end());
}

int bt_initialize(void) {
    Adapter& adapter = TheAdapter();
    adapter.settings.Refresh();
    if (adapter.settings.IsFromBluez()) {
        adapter.initialized = adapter.bluez.Get() != nullptr;
        return adapter.initialized ? BT_ERROR_NONE : BT_ERROR_OPERATION_FAILED;
    }
    const auto result = static_cast<int>(TvFolder::ReadIni()->Integer(TvKeys::BT_INIT_RESULT));
    adapter.initialized = result == BT_ERROR_NONE;
    return result;
}

int bt_deinitialize(void) {
    Adapter& adapter = TheAdapter();
    if (!adapter.initialized) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    adapter = {};
    return BT_ERROR_NONE;
}

int bt_adapter_get_bonded_device_info(const char* remote_address, bt_device_info_s** device_info) {
    if (remote_address == nullptr || device_info == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *device_info = nullptr;
    Adapter& adapter = TheAdapter();
    if (!adapter.initialized) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    adapter.settings.RefreshOncePerTick();
    const Devices* devices = adapter.Known();
    if (devices == nullptr) {
        return BT_ERROR_OPERATION_FAILED;
    }
    const auto found = devices->find(UpperCase(remote_address));
    if (found == devices->end()) {
        return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
    }
    return MakeInfo(found->first, found->second, device_info);
}

int bt_adapter_free_device_info(bt_device_info_s* device_info) {
    if (device_info == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    std::free(device_info->remote_address);
    std::free(device_info);
    return BT_ERROR_NONE;
}
