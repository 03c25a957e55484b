#include "HttpMessage/CAccessTokenHttpMessage.h"

#include "Util/Log.h"

CAccessTokenHttpMessage::CAccessTokenHttpMessage() {
    ApiTracker tracker("CAccessTokenHttpMessage::CAccessTokenHttpMessage()", __LINE__);
}

CAccessTokenHttpMessage::~CAccessTokenHttpMessage() {
    ApiTracker tracker("virtual CAccessTokenHttpMessage::~CAccessTokenHttpMessage()", __LINE__);
}

HttpBody CAccessTokenHttpMessage::BuildBody() {
    ApiTracker tracker("virtual HttpBody CAccessTokenHttpMessage::BuildBody()", __LINE__);
    auto data = GetHttpMessageData();
    return "code=" + data["code"] + "&client_id=" + data["client_id"] +
           "&auth_server_url=" + data["auth_server_url"] + "&code_verifier=" + data["code_verifier"];
}
