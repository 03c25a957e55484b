/**
 * What one synchronisation costs with the libraries alone: one reused curl handle, JSON read, one ordered
 * merge, JSON written, files replaced atomically. It asks the same requests as the service, verifies the
 * servers in the same way, writes the same files and lists the same devices, and does nothing else: no log,
 * no checks, no recovery.
 *
 * usage: floor TELEVISION-FOLDER
 */
#include <glib.h>
#include <json/json.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <ctime>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "FloorClient.h"
#include "FloorTelevision.h"

namespace {

using Floor::Client;
using Floor::Compact;
using Floor::Parse;
using Floor::Read;
using Floor::Television;
using Floor::Write;

constexpr char AUTH[] = "https://auth.quorlen.example";
constexpr char CLOUD[] = "https://api.cloud.quorlen.example";
constexpr char AUDIO_SINK[] = "0000110b-0000-1000-8000-00805f9b34fb";

std::string Base64Url(const unsigned char* bytes, std::size_t size) {
    const std::unique_ptr<char, decltype(&g_free)> text(g_base64_encode(bytes, size), &g_free);
    std::string url = text.get();
    for (char& c : url) {
        c = c == '+' ? '-' : c == '/' ? '_' : c;
    }
    return url.substr(0, url.find('='));
}

/** A code as the simulated sign-in service makes it, and the PKCE verifier that belongs to it. */
std::pair<std::string, std::string> NewCode(const std::string& login) {
    std::array<unsigned char, 32> random{};
    std::array<unsigned char, 16> nonce{};
    RAND_bytes(random.data(), random.size());
    RAND_bytes(nonce.data(), nonce.size());
    const std::string verifier = Base64Url(random.data(), random.size());
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EVP_Digest(verifier.data(), verifier.size(), digest.data(), &size, EVP_sha256(), nullptr);
    const auto* bytes = reinterpret_cast<const unsigned char*>(login.data());
    return {"lc1." + Base64Url(bytes, login.size()) + "." + Base64Url(digest.data(), size) + "." +
                Base64Url(nonce.data(), nonce.size()),
            verifier};
}

std::string Cdid(const std::string& tizenId) {
    std::array<unsigned char, 16> bytes{};
    const auto* salt = reinterpret_cast<const unsigned char*>("MERVAL");
    PKCS5_PBKDF2_HMAC_SHA1(tizenId.data(), static_cast<int>(tizenId.size()), salt, 6, 30, bytes.size(),
                           bytes.data());
    std::string text;
    for (const unsigned char byte : bytes) {
        std::array<char, 3> hex{};
        g_snprintf(hex.data(), hex.size(), "%02X", byte);
        text += hex.data();
    }
    return text;
}

/** The three exchanges of a first run. @return the application token */
std::string SignIn(const Television& tv, Client& client, const std::string& login, const std::string& agent) {
    const auto [code, verifier] = NewCode(login);
    Write(tv.Key("InfoSyncAuthCode"), "<rsp stat=\"ok\"><auth_code>" + code + "</auth_code></rsp>");
    const std::string form =
        "code=" + code +
        "&client_id=58hq27rnez&auth_server_url=auth.quorlen.example&code_verifier=" + verifier;
    const std::string tokenAnswer = client.Post(
        std::string(AUTH) + "/auth/openapi/v1/oauth2/accesstoken",
        {"Content-Type: application/x-www-form-urlencoded; charset=utf-8",
         "Content-Length: " + std::to_string(form.size()), "Package-Name: com.quorlen.tv.bt-orbmanager",
         "Package-Version: 1.0.0", "Client-OS-Verseion: Tizen 6.5", "Client-Model: Ostra9"},
        form);
    Json::Value tokens;
    tokens[login] = Parse(tokenAnswer.data(), tokenAnswer.size())["rsp"]["result"];
    tokens[login]["issued_time_in_second"] = static_cast<Json::UInt64>(std::time(nullptr));
    Write(tv.Key("InfoSyncAccessToken"), Compact(tokens));

    std::vector<std::string> headers = {agent + ";", "x-kc-uid: " + tokens[login]["userId"].asString(),
                                        "x-kc-access-token: " + tokens[login]["access_token"].asString(),
                                        "x-kc-app-id: 58hq27rnez",
                                        "Content-Type: application/json; charset=UTF-8"};
    Json::Value body;
    body["device"]["deviceIds"]["cdid"] = Cdid(tv.Text("system", "tizen_id"));
    body["device"]["osType"] = 2;
    body["device"]["osVersion"] = tv.Text("system", "tizen_version");
    body["device"]["deviceType"] = "10";
    body["device"]["model"] = tv.Text("system", "model");
    body["service"]["package"]["packageVersion"] = "1.0.0";
    body["service"]["package"]["packageVersionCode"] = "1.0.0";
    const std::string activateAnswer =
        client.Post(std::string(CLOUD) + "/user/v7/activate", headers, Compact(body));
    Json::Value activation;
    activation[login] = Parse(activateAnswer.data(), activateAnswer.size());
    Write(tv.Key("InfoSyncServiceActivationInfo"), Compact(activation));

    headers.push_back("x-kc-dvc-id: " + activation[login]["dvcId"].asString());
    const std::string jwtAnswer = client.Post(std::string(CLOUD) + "/auth/kc/tokens/v1/app", headers, "");
    Json::Value jwt;
    jwt[login] = Parse(jwtAnswer.data(), jwtAnswer.size());
    Write(tv.Key("InfoSyncJWT"), Compact(jwt));
    return jwt[login]["accessToken"].asString();
}

/** Puts the batch over the stored records. */
void Merge(Json::Value& user, Json::Value& batch) {
    std::map<std::string, Json::Value> merged;
    for (Json::Value* records : {&user["records"], &batch["records"]}) {
        for (Json::Value& record : *records) {
            std::string id = record["record_id"].asString();
            merged[std::move(id)] = std::move(record);
        }
    }
    Json::Value records(Json::arrayValue);
    for (auto& [id, record] : merged) {
        records.append(std::move(record));
    }
    user["meta"] = std::move(batch["meta"]);
    user["records"] = std::move(records);
}

/** Brings the device list up to date by the records. */
void List(const Television& tv, const std::string& login, const Json::Value& records, Json::Value& list) {
    std::set<std::string> bonded;
    for (const std::string& address : tv.List("bluetooth", "bonded")) {
        bonded.insert(address);
    }
    for (const Json::Value& record : records) {
        const std::string id = record["record_id"].asString();
        if (!record.isMember("address")) {
            list.removeMember(id);
            continue;
        }
        const std::string address = record["address"].asString();
        if (record["uuids"].asString().find(AUDIO_SINK) == std::string::npos || bonded.count(address) != 0) {
            continue;
        }
        Json::Value& entry = list[id];
        if (!entry.isMember("users")) {
            entry["users"].append(login);
            entry["deleted_on_tv"] = false;
        }
        entry["name"] = record["name"];
        entry["address"] = address;
    }
}

void Synchronise(const std::string& folder) {
    Television tv;
    tv.folder = folder;
    if (g_key_file_load_from_file(tv.ini.get(), (folder + "/tv.ini").c_str(), G_KEY_FILE_NONE, nullptr) ==
        FALSE) {
        throw std::runtime_error("no television in " + folder);
    }
    const std::string login = tv.Text("sso", "login_id");
    const std::string agent = "User-Agent: " + tv.Text("system", "model") + ";" +
                              tv.Text("system", "software_version") +
                              ";bt-orbmanager=1.0.0;Tizen=" + tv.Text("system", "tizen_version");
    Client client(tv);
    const Json::Value stored = Read(tv.Key("InfoSyncJWT"));
    const std::string token =
        stored.isMember(login) ? stored[login]["accessToken"].asString() : SignIn(tv, client, login, agent);

    Json::Value records = Read(tv.Key("InfoSyncRecords"));
    Json::Value& user = records[login];
    std::string url = std::string(CLOUD) + "/data/v2/com.quorlen.bluetooth.device_sync?table_ver=1";
    const auto mark = user["meta"]["synced_timestamp"].asInt64();
    if (mark > 0) {
        url += "&changed_after=" + std::to_string(mark) + "&coldStartable=true";
    }
    Json::Value batch;
    {
        const std::string answer = client.Get(url, {agent + "; ;", "Authorization: Bearer " + token});
        batch = Parse(answer.data(), answer.size());
    }
    Merge(user, batch);
    Write(tv.Key("InfoSyncRecords"), Compact(records));
    Json::Value list = Read(tv.Devices());
    List(tv, login, user["records"], list);
    Write(tv.Devices(), Compact(list));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        g_printerr("usage: floor TELEVISION-FOLDER\n");
        return 2;
    }
    try {
        Synchronise(argv[1]);
        return 0;
    } catch (const std::exception& e) {
        g_printerr("floor: %s\n", e.what());
        return 1;
    }
}
