#include "platform/win32/FtpFile.h"

#include "platform/InternetBackend.h"
#include "platform/win32/Wide.h"

#include <string>

namespace zu::platform {
namespace {

bool Command(HINTERNET hConnect, uint32_t nFlags, const std::u16string& command)
{
    return FtpCommandW(hConnect, FALSE, nFlags, Wide(command), 0, nullptr) != FALSE;
}

// The size a "213 N" reply to SIZE gives; -1 for any other reply.
int64_t SizeFromReply()
{
    wchar_t text[256] = {};
    DWORD nError = 0;
    DWORD nLength = sizeof(text) / sizeof(text[0]) - 1;
    if (!InternetGetLastResponseInfoW(&nError, text, &nLength))
        return -1;
    const std::u16string reply = FromWide(text);
    return reply.rfind(u"213 ", 0) == 0 ? LeadingDecimal(reply.substr(4)) : -1;
}

}  // namespace

CFtpFile::CFtpFile(std::shared_ptr<CInternetObject> pConnection, const std::u16string& name, uint32_t nFlags)
    : VInternetFile(EInternetObjectType::FTP_FILE, nullptr, true, pConnection.get()),
      m_pConnection(std::move(pConnection)),
      m_Name(name),
      m_nFlags(nFlags)
{
}

bool CFtpFile::Open()
{
    return OpenAt(0, true);
}

bool CFtpFile::RestartAt(int64_t nPosition)
{
    return OpenAt(nPosition, false);
}

bool CFtpFile::OpenAt(int64_t nPosition, bool bAskSize)
{
    const HINTERNET hConnect = m_pConnection->Handle();
    // The retrieval under way holds the connection until its handle is closed.
    HINTERNET hPrevious = Release();
    const std::u16string name = m_Name;
    const uint32_t nFlags = m_nFlags;
    const auto pOutcome = Call(
        [hConnect, hPrevious, name, nFlags, nPosition, bAskSize](CCallOutcome& outcome) {
            if (hPrevious)
                InternetCloseHandle(hPrevious);
            if (bAskSize) {
                // SIZE counts the bytes of the transfer type in force (servers refuse it in ASCII).
                const bool bAscii = (nFlags & 3) == INET_FTP_TRANSFER_TYPE_ASCII;
                Command(hConnect, nFlags, bAscii ? u"TYPE A" : u"TYPE I");
                if (Command(hConnect, nFlags, u"SIZE " + name))
                    outcome.nValue = SizeFromReply();
            }
            const std::string rest = "REST " + std::to_string(nPosition);
            if (nPosition > 0 && !Command(hConnect, nFlags, std::u16string(rest.begin(), rest.end())))
                return false;
            outcome.hMade = FtpOpenFileW(hConnect, Wide(name), INET_GENERIC_READ, nFlags, 0);
            return outcome.hMade != nullptr;
        },
        true);
    if (!Succeeded(pOutcome))
        return false;
    if (bAskSize)
        m_nLength = pOutcome->nValue;
    Adopt(pOutcome->TakeHandle());
    return true;
}

}  // namespace zu::platform
