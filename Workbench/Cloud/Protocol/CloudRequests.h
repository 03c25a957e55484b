/** The cloud service: activation, application token, device records. */
#pragma once

#include <httplib.h>

#include <string>

#include "Cloud/Protocol/Answer.h"
#include "Cloud/State/Records.h"
#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"

namespace LocalCloud {

/** The result codes of refused requests. */
enum class ResultCode {
    BadRequest = 4000001,
    MarkUnknown = 4000002,
    MarkTooOld = 4009100,
    BadAccessToken = 4010001,
    BadAppToken = 4010002,
    WrongUser = 4030001,
    NotActivated = 4030002,
    NotFound = 4040001,
    InternalError = 5000001,
};

std::string TextOf(ResultCode code);

/** A refusal; the message is sent and shown. */
Answer Refusal(ResultCode code, const std::string& message, const std::string& login = {});

class CloudService {
public:
    CloudService(const Folder& folder, const Users& users, TokenStore& tokens, RecordBook::Clock clock);

    Answer Activate(const httplib::Request& request);
    Answer IssueAppToken(const httplib::Request& request);
    Answer Download(const httplib::Request& request);

private:
    /** Checks the headers that the first two requests share, and sets the login as soon as it is known. */
    void Identify(const httplib::Request& request, std::string& login) const;
    /** The same for the bearer token of a download. */
    void IdentifyBearer(const httplib::Request& request, std::string& login) const;
    Answer SelectRecords(const httplib::Request& request, const std::string& login);
    /** The code to refuse a user's mark with, once, when somebody made the mark expire. */
    std::string TakeExpiredMark(const std::string& login) const;

    Folder m_folder;
    const Users& m_users;
    TokenStore& m_tokens;
    RecordBook m_records;
    std::string m_secret;
};

}  // namespace LocalCloud
