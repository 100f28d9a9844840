// The Internet seam over libcurl: each call finds its object in the handle table, holds it (so a
// close on another thread cannot free it underneath) and works under the object's lock.
#include "platform/Internet.h"

#include "platform/InternetHandleTable.h"
#include "platform/Text.h"
#include "platform/posix/FtpFile.h"
#include "platform/posix/HttpRequest.h"
#include "platform/posix/InternetConnection.h"
#include "platform/posix/InternetErrors.h"
#include "platform/posix/InternetSession.h"

namespace zu::platform {
namespace {

CInternetHandleTable<VInternetObject>& Table()
{
    return CInternetHandleTable<VInternetObject>::Instance();
}

// The object behind h if it is of type T (null, with the reason as the last error, otherwise).
template <typename T>
std::shared_ptr<T> Find(InternetHandle h, EInternetObjectType type)
{
    return Table().FindOfType<T>(h, {type});
}

}  // namespace

InternetHandle OpenInternetSession(const std::u16string& userAgent, uint32_t accessType,
                                   const std::u16string& proxyList, const std::u16string& bypassList, uint32_t)
{
    if (accessType != INET_OPEN_TYPE_PRECONFIG && accessType != INET_OPEN_TYPE_DIRECT &&
        accessType != INET_OPEN_TYPE_PROXY) {
        FailInternet(INET_ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto pSession = MakeInternetObject<CInternetSession>(Utf8FromUtf16(userAgent), accessType,
                                                         Utf8FromUtf16(proxyList), Utf8FromUtf16(bypassList));
    return pSession ? Table().Add(pSession, nullptr) : nullptr;
}

InternetHandle ConnectInternet(InternetHandle hSession, const std::u16string& host, uint16_t port,
                               const std::u16string& user, const std::u16string& password, uint32_t service,
                               uint32_t flags)
{
    auto pSession = Find<CInternetSession>(hSession, EInternetObjectType::SESSION);
    if (!pSession)
        return nullptr;
    if (host.empty() || (service != INET_SERVICE_HTTP && service != INET_SERVICE_FTP)) {
        FailInternet(host.empty() ? INET_ERROR_INVALID_URL : INET_ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto pConnection = MakeInternetObject<CInternetConnection>(pSession, Utf8FromUtf16(host), port, user, password,
                                                               service, flags);
    if (!pConnection)
        return nullptr;
    if (!pConnection->IsFtp())
        return Table().Add(pConnection, hSession);
    // The handle exists while the login runs, so closing the session can cut it short.
    return Table().AddWhile(pConnection, hSession, [&] {
        std::lock_guard<std::recursive_mutex> lock(pConnection->Lock());
        return pConnection->LogIn();
    });
}

InternetHandle OpenHttpRequest(InternetHandle hConnect, const std::u16string& verb, const std::u16string& object,
                               const std::u16string& version, const std::u16string& referrer,
                               const std::u16string& acceptTypes, uint32_t flags)
{
    auto pConnection = Find<CInternetConnection>(hConnect, EInternetObjectType::CONNECTION);
    if (!pConnection)
        return nullptr;
    if (pConnection->IsFtp()) {
        FailInternet(INET_ERROR_INCORRECT_HANDLE_TYPE);
        return nullptr;
    }
    auto pRequest = MakeInternetObject<CHttpRequest>(pConnection, Utf8FromUtf16(verb), Utf8FromUtf16(object),
                                                     Utf8FromUtf16(version), Utf8FromUtf16(referrer),
                                                     Utf8FromUtf16(acceptTypes), flags);
    return pRequest ? Table().Add(pRequest, hConnect) : nullptr;
}

bool AddHttpRequestHeaders(InternetHandle hRequest, const std::u16string& headers, uint32_t modifiers)
{
    auto pRequest = Find<CHttpRequest>(hRequest, EInternetObjectType::HTTP_REQUEST);
    if (!pRequest)
        return false;
    std::lock_guard<std::recursive_mutex> lock(pRequest->Lock());
    return pRequest->AddHeaders(Utf8FromUtf16(headers), modifiers);
}

bool SendHttpRequest(InternetHandle hRequest, const std::u16string& extraHeaders, const void* pBody,
                     uint32_t nBodyLength)
{
    auto pRequest = Find<CHttpRequest>(hRequest, EInternetObjectType::HTTP_REQUEST);
    if (!pRequest)
        return false;
    std::lock_guard<std::recursive_mutex> lock(pRequest->Lock());
    return pRequest->Send(Utf8FromUtf16(extraHeaders), pBody, nBodyLength);
}

bool QueryHttpInfo(InternetHandle hRequest, uint32_t infoLevel, std::u16string& value, uint32_t* pIndex,
                   const std::u16string& customName)
{
    auto pRequest = Find<CHttpRequest>(hRequest, EInternetObjectType::HTTP_REQUEST);
    if (!pRequest)
        return false;
    std::lock_guard<std::recursive_mutex> lock(pRequest->Lock());
    std::string text;
    if (!pRequest->QueryInfo(infoLevel, Utf8FromUtf16(customName), text, pIndex))
        return false;
    // Header bytes are Latin-1 unless they form valid UTF-8; either way nothing is lost.
    value = Utf16FromUtf8(text);
    if (value.find(u'\uFFFD') != std::u16string::npos)
        value.assign(text.begin(), text.end());
    return true;
}

bool ReadInternetFile(InternetHandle hFile, void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    nRead = 0;
    std::shared_ptr<VInternetObject> pObject = Table().Find(hFile);
    if (!pObject)
        return false;
    std::lock_guard<std::recursive_mutex> lock(pObject->Lock());
    return pObject->Read(pBuffer, nCount, nRead);
}

int64_t SetInternetFilePointer(InternetHandle hFile, int64_t nDistance, uint32_t nMethod)
{
    std::shared_ptr<VInternetObject> pObject = Table().Find(hFile);
    if (!pObject)
        return -1;
    std::lock_guard<std::recursive_mutex> lock(pObject->Lock());
    return pObject->SetFilePointer(nDistance, nMethod);
}

bool SendFtpCommand(InternetHandle hConnect, const std::u16string& command)
{
    auto pConnection = Find<CInternetConnection>(hConnect, EInternetObjectType::CONNECTION);
    if (!pConnection)
        return false;
    if (!pConnection->IsFtp())
        return FailInternet(INET_ERROR_INCORRECT_HANDLE_TYPE);
    // Refused at once, without waiting for the file's reads to let go of the connection.
    if (pConnection->IsFileOpen())
        return FailInternet(INET_ERROR_FTP_TRANSFER_IN_PROGRESS);
    std::lock_guard<std::recursive_mutex> lock(pConnection->Lock());
    return pConnection->SendCommand(Utf8FromUtf16(command));
}

InternetHandle OpenFtpFile(InternetHandle hConnect, const std::u16string& fileName, uint32_t access, uint32_t flags)
{
    auto pConnection = Find<CInternetConnection>(hConnect, EInternetObjectType::CONNECTION);
    if (!pConnection)
        return nullptr;
    if (!pConnection->IsFtp() || access != INET_GENERIC_READ || fileName.empty()) {
        FailInternet(pConnection->IsFtp() ? INET_ERROR_INVALID_PARAMETER : INET_ERROR_INCORRECT_HANDLE_TYPE);
        return nullptr;
    }
    auto pFile = MakeInternetObject<CFtpFile>(pConnection, Utf8FromUtf16(fileName), flags);
    return Table().AddWhile(pFile, hConnect, [&] {
        std::lock_guard<std::recursive_mutex> lock(pFile->Lock());
        return pFile->Open();
    });
}

bool SetInternetOption(InternetHandle h, uint32_t option, uint32_t value)
{
    if (!h) {
        // Process-wide settings: libcurl opens a connection per transfer and has no such cap.
        if (option == INET_OPTION_MAX_CONNS_PER_SERVER)
            return true;
        return FailInternet(INET_ERROR_INCORRECT_HANDLE_TYPE);
    }
    std::shared_ptr<VInternetObject> pObject = Table().Find(h);
    if (!pObject)
        return false;
    std::lock_guard<std::recursive_mutex> lock(pObject->Lock());
    return pObject->SetOption(option, value);
}

bool QueryInternetOption(InternetHandle h, uint32_t option, uint32_t& value)
{
    std::shared_ptr<VInternetObject> pObject = Table().Find(h);
    if (!pObject)
        return false;
    std::lock_guard<std::recursive_mutex> lock(pObject->Lock());
    return pObject->QueryOption(option, value);
}

bool SetInternetOptionText(InternetHandle h, uint32_t option, const std::u16string& value)
{
    std::shared_ptr<VInternetObject> pObject = Table().Find(h);
    if (!pObject)
        return false;
    std::lock_guard<std::recursive_mutex> lock(pObject->Lock());
    return pObject->SetOptionText(option, value);
}

bool QueryInternetOptionText(InternetHandle h, uint32_t option, std::u16string& value)
{
    std::shared_ptr<VInternetObject> pObject = Table().Find(h);
    if (!pObject)
        return false;
    std::lock_guard<std::recursive_mutex> lock(pObject->Lock());
    return pObject->QueryOptionText(option, value);
}

uint32_t ShowInternetErrorDialog(InternetHandle, uint32_t, uint32_t)
{
    return INET_ERROR_CANCELLED;  // no system dialog here; hosts install their own prompt
}

bool CloseInternetHandle(InternetHandle h)
{
    return Table().Close(h);
}

void EndInternetSession() {}

}  // namespace zu::platform
