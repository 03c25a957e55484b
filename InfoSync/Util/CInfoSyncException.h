/** The failures that the service raises itself. */
#pragma once

#include <exception>
#include <string>

class CInfoSyncException : public std::exception {
public:
    explicit CInfoSyncException(const std::string& message);
    CInfoSyncException(const std::string& message, int code);

    const char* what() const noexcept override;

    /** The kind of failure; meaningless for an exception that was made from a message alone. */
    int GetCode() const noexcept {
        return m_code;
    }

private:
    std::string m_message;
    int m_code = 0;
};

/** The kinds of failure that a code tells apart. */
enum InfoSyncErrorCode {
    INFOSYNC_ERROR_TOKEN_EXPIRED = 1,
    INFOSYNC_ERROR_TOKEN_NOT_EXIST = 2,
    INFOSYNC_ERROR_HTTP = 4,
};

/** There is no access token, or none that could still be refreshed: only a new authorisation helps. */
class CInfoSyncTokenNotExistException : public CInfoSyncException {
public:
    CInfoSyncTokenNotExistException();
    CInfoSyncTokenNotExistException(const std::string& message, int code);
};

/** The access token ran out and can be refreshed. */
class CInfoSyncTokenExpiredException : public CInfoSyncException {
public:
    CInfoSyncTokenExpiredException();
};

/** The server answered with a status that is not accepted. */
class CInfoSyncHttpException : public CInfoSyncException {
public:
    CInfoSyncHttpException(const std::string& response, int status);

    /** The body of the answer. */
    const std::string& GetResponse() const noexcept {
        return m_response;
    }

    int GetStatus() const noexcept {
        return m_status;
    }

private:
    std::string m_response;
    int m_status;
};
