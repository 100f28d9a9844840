// The Internet seam over WinINet: each call finds its object in the handle table, holds it (so a
// close on another thread cannot free it underneath) and passes the call through to the system,
// blocking calls by way of the object's call thread.
#include "platform/Internet.h"

#include "platform/InternetHandleTable.h"
#include "platform/win32/FtpFile.h"
#include "platform/win32/HttpRequest.h"
#include "platform/win32/InternetErrors.h"
#include "platform/win32/Wide.h"

namespace zu::platform {
namespace {

CInternetHandleTable<CInternetObject>& Table()
{
    return CInternetHandleTable<CInternetObject>::Instance();
}

// The object behind h if it is of type T (null, with the reason as the last error, otherwise).
template <typename T>
std::shared_ptr<T> Find(InternetHandle h, EInternetObjectType type)
{
    return Table().FindOfType<T>(h, {type});
}

std::shared_ptr<VInternetFile> FindFile(InternetHandle h)
{
    return Table().FindOfType<VInternetFile>(h, {EInternetObjectType::HTTP_REQUEST, EInternetObjectType::FTP_FILE});
}

// The credentials a connection was made with, as options its requests start with.
void RecordCredentials(CInternetObject& connection, const std::u16string& user, const std::u16string& password)
{
    if (!user.empty())
        connection.SetOptionText(INET_OPTION_USERNAME, user);
    if (!password.empty())
        connection.SetOptionText(INET_OPTION_PASSWORD, password);
}

}  // namespace

InternetHandle OpenInternetSession(const std::u16string& userAgent, uint32_t accessType,
                                   const std::u16string& proxyList, const std::u16string& bypassList, uint32_t flags)
{
    const bool bProxy = accessType == INET_OPEN_TYPE_PROXY;
    HINTERNET h = InternetOpenW(Wide(userAgent), accessType, bProxy ? WideOrNull(proxyList) : nullptr,
                                bProxy ? WideOrNull(bypassList) : nullptr, flags);
    if (!h) {
        CInternetObject::FailWithSystemError();
        return nullptr;
    }
    auto pSession = MakeInternetObject<CInternetObject>(EInternetObjectType::SESSION, h, false, nullptr);
    if (!pSession) {
        InternetCloseHandle(h);
        return nullptr;
    }
    return Table().Add(pSession, nullptr);
}

InternetHandle ConnectInternet(InternetHandle hSession, const std::u16string& host, uint16_t port,
                               const std::u16string& user, const std::u16string& password, uint32_t service,
                               uint32_t flags)
{
    auto pSession = Find<CInternetObject>(hSession, EInternetObjectType::SESSION);
    if (!pSession)
        return nullptr;
    const HINTERNET hParent = pSession->Handle();
    if (service != INET_SERVICE_FTP) {
        HINTERNET h = InternetConnectW(hParent, Wide(host), port, WideOrNull(user), WideOrNull(password), service,
                                       flags, 0);
        if (!h) {
            CInternetObject::FailWithSystemError();
            return nullptr;
        }
        auto pConnection =
            MakeInternetObject<CInternetObject>(EInternetObjectType::CONNECTION, h, false, pSession.get());
        if (!pConnection) {
            InternetCloseHandle(h);
            return nullptr;
        }
        RecordCredentials(*pConnection, user, password);
        return Table().Add(pConnection, hSession);
    }
    // An FTP connection logs in at once.
    auto pConnection =
        MakeInternetObject<CInternetObject>(EInternetObjectType::CONNECTION, nullptr, true, pSession.get());
    if (pConnection)
        RecordCredentials(*pConnection, user, password);
    return Table().AddWhile(pConnection, hSession, [&] {
        const auto pOutcome = pConnection->Call(
            [hParent, host, port, user, password, flags](CCallOutcome& outcome) {
                outcome.hMade = InternetConnectW(hParent, Wide(host), port, WideOrNull(user), WideOrNull(password),
                                                 INET_SERVICE_FTP, flags, 0);
                if (!outcome.hMade)
                    return false;
                // The login ends by asking where it landed, so its last reply is the same
                // everywhere (257 and the folder).
                wchar_t folder[MAX_PATH];
                DWORD nLength = MAX_PATH;
                FtpGetCurrentDirectoryW(outcome.hMade, folder, &nLength);
                return true;
            },
            true);
        if (!pConnection->Succeeded(pOutcome))
            return false;
        pConnection->Adopt(pOutcome->TakeHandle());
        return true;
    });
}

InternetHandle OpenHttpRequest(InternetHandle hConnect, const std::u16string& verb, const std::u16string& object,
                               const std::u16string& version, const std::u16string& referrer,
                               const std::u16string& acceptTypes, uint32_t flags)
{
    auto pConnection = Find<CInternetObject>(hConnect, EInternetObjectType::CONNECTION);
    if (!pConnection)
        return nullptr;
    HINTERNET h = CHttpRequest::Open(pConnection->Handle(), verb, object, version, referrer, acceptTypes, flags);
    if (!h)
        return nullptr;
    auto pRequest =
        MakeInternetObject<CHttpRequest>(pConnection, h, verb, object, version, referrer, acceptTypes, flags);
    if (!pRequest)
        InternetCloseHandle(h);
    return pRequest ? Table().Add(pRequest, hConnect) : nullptr;
}

bool AddHttpRequestHeaders(InternetHandle hRequest, const std::u16string& headers, uint32_t modifiers)
{
    auto pRequest = Find<CHttpRequest>(hRequest, EInternetObjectType::HTTP_REQUEST);
    return pRequest && pRequest->AddHeaders(headers, modifiers);
}

bool SendHttpRequest(InternetHandle hRequest, const std::u16string& extraHeaders, const void* pBody,
                     uint32_t nBodyLength)
{
    auto pRequest = Find<CHttpRequest>(hRequest, EInternetObjectType::HTTP_REQUEST);
    return pRequest && pRequest->Send(extraHeaders, pBody, nBodyLength);
}

bool QueryHttpInfo(InternetHandle hRequest, uint32_t infoLevel, std::u16string& value, uint32_t* pIndex,
                   const std::u16string& customName)
{
    auto pRequest = Find<CHttpRequest>(hRequest, EInternetObjectType::HTTP_REQUEST);
    return pRequest && pRequest->QueryResponse(infoLevel, customName, value, pIndex);
}

bool ReadInternetFile(InternetHandle hFile, void* pBuffer, uint32_t nCount, uint32_t& nRead)
{
    nRead = 0;
    auto pFile = FindFile(hFile);
    return pFile && pFile->Read(pBuffer, nCount, nRead);
}

int64_t SetInternetFilePointer(InternetHandle hFile, int64_t nDistance, uint32_t nMethod)
{
    auto pFile = FindFile(hFile);
    return pFile ? pFile->SetFilePointer(nDistance, nMethod) : -1;
}

bool SendFtpCommand(InternetHandle hConnect, const std::u16string& command)
{
    auto pConnection = Find<CInternetObject>(hConnect, EInternetObjectType::CONNECTION);
    if (!pConnection)
        return false;
    const HINTERNET h = pConnection->Handle();
    return pConnection->Succeeded(pConnection->Call(
        [h, command](CCallOutcome&) {
            return FtpCommandW(h, FALSE, FTP_TRANSFER_TYPE_BINARY, Wide(command), 0, nullptr) != FALSE;
        },
        true));
}

InternetHandle OpenFtpFile(InternetHandle hConnect, const std::u16string& fileName, uint32_t access, uint32_t flags)
{
    auto pConnection = Find<CInternetObject>(hConnect, EInternetObjectType::CONNECTION);
    if (!pConnection)
        return nullptr;
    if (!pConnection->IsFtp() || access != INET_GENERIC_READ || fileName.empty()) {
        FailInternet(pConnection->IsFtp() ? INET_ERROR_INVALID_PARAMETER : INET_ERROR_INCORRECT_HANDLE_TYPE);
        return nullptr;
    }
    auto pFile = MakeInternetObject<CFtpFile>(pConnection, fileName, flags);
    return Table().AddWhile(pFile, hConnect, [&] { return pFile->Open(); });
}

bool SetInternetOption(InternetHandle h, uint32_t option, uint32_t value)
{
    if (!h)
        return CInternetObject::SetNumberOption(nullptr, option, value);
    std::shared_ptr<CInternetObject> pObject = Table().Find(h);
    return pObject && pObject->SetOption(option, value);
}

bool QueryInternetOption(InternetHandle h, uint32_t option, uint32_t& value)
{
    std::shared_ptr<CInternetObject> pObject = Table().Find(h);
    return pObject && pObject->QueryOption(option, value);
}

bool SetInternetOptionText(InternetHandle h, uint32_t option, const std::u16string& value)
{
    std::shared_ptr<CInternetObject> pObject = Table().Find(h);
    return pObject && pObject->SetOptionText(option, value);
}

bool QueryInternetOptionText(InternetHandle h, uint32_t option, std::u16string& value)
{
    std::shared_ptr<CInternetObject> pObject = Table().Find(h);
    return pObject && pObject->QueryOptionText(option, value);
}

uint32_t ShowInternetErrorDialog(InternetHandle hRequest, uint32_t error, uint32_t flags)
{
    std::shared_ptr<CInternetObject> pObject = Table().Find(hRequest);
    if (!pObject)
        return INET_ERROR_INVALID_HANDLE;
    // Anything but a retry is a refusal: a dialog that cannot be shown (Wine without a display)
    // answers -1.
    const DWORD nAnswer = InternetErrorDlg(GetDesktopWindow(), pObject->Handle(), error, flags, nullptr);
    return nAnswer == INET_ERROR_FORCE_RETRY ? nAnswer : static_cast<DWORD>(INET_ERROR_CANCELLED);
}

bool CloseInternetHandle(InternetHandle h)
{
    std::shared_ptr<CInternetObject> pObject = Table().Find(h);
    if (!pObject)
        return false;
    // The handle's own close answers; the table then takes down what hangs below it.
    const bool bClosed = pObject->CloseHandleNow();
    const uint32_t nError = InternetLastError();
    Table().Close(h);
    return bClosed || FailInternet(nError);
}

void EndInternetSession()
{
    InternetSetOptionW(nullptr, INTERNET_OPTION_END_BROWSER_SESSION, nullptr, 0);
}

}  // namespace zu::platform
