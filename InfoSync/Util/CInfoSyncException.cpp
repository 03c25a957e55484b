#include "Util/CInfoSyncException.h"

CInfoSyncException::CInfoSyncException(const std::string& message) : m_message(message) {}

CInfoSyncException::CInfoSyncException(const std::string& message, int code)
    : m_message(message), m_code(code) {}

const char* CInfoSyncException::what() const noexcept {
    return m_message.c_str();
}

CInfoSyncTokenNotExistException::CInfoSyncTokenNotExistException()
    : CInfoSyncException("token does not exist. Need to issue newly", INFOSYNC_ERROR_TOKEN_NOT_EXIST) {}

CInfoSyncTokenNotExistException::CInfoSyncTokenNotExistException(const std::string& message, int code)
    : CInfoSyncException(message, code) {}

CInfoSyncTokenExpiredException::CInfoSyncTokenExpiredException()
    : CInfoSyncException("Token expired. need to refresh token", INFOSYNC_ERROR_TOKEN_EXPIRED) {}

CInfoSyncHttpException::CInfoSyncHttpException(const std::string& response, int status)
    : CInfoSyncException("HTTP error", INFOSYNC_ERROR_HTTP), m_response(response), m_status(status) {}
