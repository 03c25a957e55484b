#include "HttpMessage/CRefreshTokenHttpMessage.h"

#include "Util/Log.h"

CRefreshTokenHttpMessage::CRefreshTokenHttpMessage() {
    ApiTracker tracker("CRefreshTokenHttpMessage::CRefreshTokenHttpMessage()", __LINE__);
}

CRefreshTokenHttpMessage::~CRefreshTokenHttpMessage() {
    ApiTracker tracker("virtual CRefreshTokenHttpMessage::~CRefreshTokenHttpMessage()", __LINE__);
}

HttpBody CRefreshTokenHttpMessage::BuildBody() {
    ApiTracker tracker("virtual HttpBody CRefreshTokenHttpMessage::BuildBody()", __LINE__);
    auto data = GetHttpMessageData();
    return "refresh_token=" + data["refresh_token"] + "&client_id=" + data["client_id"] +
           "&auth_server_url=" + data["auth_server_url"];
}
