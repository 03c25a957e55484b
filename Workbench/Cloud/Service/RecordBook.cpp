#include "Cloud/Service/RecordBook.h"

#include <utility>

#include "Cloud/Service/Users.h"
#include "Files.h"

namespace LocalCloud {

RecordBook::RecordBook(const Folder& folder, Clock clock) : m_folder(folder), m_clock(std::move(clock)) {}

Selection RecordBook::Select(const std::string& login, std::optional<std::int64_t> changedAfter) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    User& user = Find(login);
    const std::string path = m_folder.RecordsFile(login);
    // Taken before reading: a write that comes in between is then seen at the next download.
    const Files::Version version(path);
    if (!user.seen || !(user.version == version)) {
        const auto text = Files::ReadIfThere(path);
        const std::string name = "users/" + FileNameOfLogin(login) + ".json";
        user.ledger.Update(ParseUserFile(text.value_or(R"({"records":[]})"), name)["records"], m_clock());
        user.seen = true;
        user.version = version;
    }
    return user.ledger.Select(changedAfter);
}

RecordBook::User& RecordBook::Find(const std::string& login) {
    const auto found = m_users.find(login);
    return found != m_users.end()
               ? found->second
               : m_users.emplace(login, User{Ledger(m_folder.LedgerFile(login)), false, {}}).first->second;
}

}  // namespace LocalCloud
