// CUrl: a URL split into its parts by the system's URL cracker, with the extra information split
// further into a fragment or a query and the query into key/value pairs. A caller may change the
// scheme and the port and join the parts back into a URL text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class CUrl {
public:
    // Empty: nothing parsed, so not valid.
    CUrl() = default;
    explicit CUrl(const std::u16string& url);

    // Replaces every part; on failure every part is left empty. Returns the validity.
    bool Parse(const std::u16string& url);
    bool IsValid() const { return m_bParseFailed == 0; }

    std::u16string GetURL() const { return m_strURL; }
    std::u16string GetScheme() const { return m_strScheme; }
    // The system's scheme number (1 FTP, 3 HTTP, 4 HTTPS, ..., -1 unknown).
    int32_t GetSchemeNumber() const { return m_nScheme; }
    std::u16string GetHost() const { return m_strHost; }
    // The scheme's default port when the text gives none (80 for HTTP), 0 for most other schemes.
    uint16_t GetPort() const { return m_nPort; }
    std::u16string GetUser() const { return m_strUser; }
    std::u16string GetPassword() const { return m_strPassword; }
    std::u16string GetPath() const { return m_strPath; }
    // Everything from the first "?" or "#" on.
    std::u16string GetExtra() const { return m_strExtra; }
    // The extra information without its "#", when it begins with one.
    std::u16string GetFragment() const { return m_strFragment; }
    // The extra information without its "?", when it begins with one.
    std::u16string GetQuery() const { return m_strQuery; }
    // The query's "&"-separated fields, split at their first "=" (a field without one is a key with
    // an empty value); the two lists are parallel.
    std::vector<std::u16string> GetQueryKeys() const { return m_QueryKeys; }
    std::vector<std::u16string> GetQueryValues() const { return m_QueryValues; }

    // The scheme number follows the new scheme word.
    void SetScheme(const std::u16string& scheme);
    void SetPort(uint16_t nPort);

    // scheme://[user:password@]host[:port]path extra, the port only when it is not 0.
    std::u16string Rebuild() const;

    // The URL text as it may be shown or logged: a password in it reads "***". Works on the text
    // itself, so a URL the parser refuses is still shown without its secret.
    static std::u16string WithoutPassword(const std::u16string& url);

private:
    void Clear();
    void SplitExtra();
    void SplitQuery();

    std::u16string m_strURL;
    int32_t m_bParseFailed = 1;
    std::u16string m_strScheme;
    int32_t m_nScheme = -1;
    std::u16string m_strHost;
    uint16_t m_nPort = 0;
    std::u16string m_strUser;
    std::u16string m_strPassword;
    std::u16string m_strPath;
    std::u16string m_strExtra;
    std::u16string m_strFragment;
    std::u16string m_strQuery;
    std::vector<std::u16string> m_QueryKeys;
    std::vector<std::u16string> m_QueryValues;
};
