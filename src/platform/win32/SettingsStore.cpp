#include "platform/SettingsStore.h"

#include "platform/win32/Wide.h"

#include <windows.h>

namespace zu::platform {
namespace {

// One key per section below <hive>\Software\<company>\<product>.
class CRegistryStore final : public VSettingsStore {
public:
    CRegistryStore(HKEY hHive, std::u16string root) : m_hHive(hHive), m_Root(std::move(root)) {}

    bool HasSection(const std::u16string& section) override
    {
        HKEY hKey = OpenSection(section, KEY_READ, false);
        if (hKey)
            RegCloseKey(hKey);
        return hKey != nullptr;
    }

    bool ReadText(const std::u16string& section, const std::u16string& name, std::u16string& value) override
    {
        HKEY hKey = OpenSection(section, KEY_READ, false);
        if (!hKey)
            return false;
        DWORD type = 0;
        DWORD nBytes = 0;
        bool bOk = RegQueryValueExW(hKey, Wide(name), nullptr, &type, nullptr, &nBytes) == ERROR_SUCCESS &&
                   (type == REG_SZ || type == REG_EXPAND_SZ);
        if (bOk) {
            std::u16string text(nBytes / sizeof(wchar_t) + 1, u'\0');
            bOk = RegQueryValueExW(hKey, Wide(name), nullptr, &type, reinterpret_cast<BYTE*>(text.data()),
                                   &nBytes) == ERROR_SUCCESS;
            if (bOk)
                value.assign(text.c_str());
        }
        RegCloseKey(hKey);
        return bOk;
    }

    bool ReadNumber(const std::u16string& section, const std::u16string& name, uint32_t& value) override
    {
        HKEY hKey = OpenSection(section, KEY_READ, false);
        if (!hKey)
            return false;
        DWORD type = 0;
        DWORD number = 0;
        DWORD nBytes = sizeof(number);
        const bool bOk = RegQueryValueExW(hKey, Wide(name), nullptr, &type, reinterpret_cast<BYTE*>(&number),
                                          &nBytes) == ERROR_SUCCESS &&
                         type == REG_DWORD;
        RegCloseKey(hKey);
        if (bOk)
            value = number;
        return bOk;
    }

    bool WriteText(const std::u16string& section, const std::u16string& name, const std::u16string& value) override
    {
        return SetValue(section, name, REG_SZ, value.c_str(),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }

    bool WriteNumber(const std::u16string& section, const std::u16string& name, uint32_t value) override
    {
        const DWORD number = value;
        return SetValue(section, name, REG_DWORD, &number, sizeof(number));
    }

    bool DeleteValue(const std::u16string& section, const std::u16string& name) override
    {
        HKEY hKey = OpenSection(section, KEY_SET_VALUE, false);
        if (!hKey)
            return false;
        const bool bOk = RegDeleteValueW(hKey, Wide(name)) == ERROR_SUCCESS;
        RegCloseKey(hKey);
        return bOk;
    }

    std::vector<std::u16string> ListSubsections(const std::u16string& section) override
    {
        std::vector<std::u16string> names;
        HKEY hKey = OpenSection(section, KEY_ENUMERATE_SUB_KEYS, false);
        if (!hKey)
            return names;
        // Key names are at most 255 characters.
        wchar_t szName[256];
        for (DWORD nIndex = 0;; ++nIndex) {
            DWORD nLength = 256;
            if (RegEnumKeyExW(hKey, nIndex, szName, &nLength, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
                break;
            names.push_back(FromWide(szName));
        }
        RegCloseKey(hKey);
        return names;
    }

private:
    HKEY OpenSection(const std::u16string& section, REGSAM access, bool bCreate)
    {
        const std::u16string path = m_Root + u"\\" + section;
        HKEY hKey = nullptr;
        const LONG result = bCreate ? RegCreateKeyExW(m_hHive, Wide(path), 0, nullptr, 0, access,
                                                      nullptr, &hKey, nullptr)
                                    : RegOpenKeyExW(m_hHive, Wide(path), 0, access, &hKey);
        return result == ERROR_SUCCESS ? hKey : nullptr;
    }

    bool SetValue(const std::u16string& section, const std::u16string& name, DWORD type, const void* pData,
                  DWORD nBytes)
    {
        HKEY hKey = OpenSection(section, KEY_SET_VALUE, true);
        if (!hKey)
            return false;
        const bool bOk = RegSetValueExW(hKey, Wide(name), 0, type, static_cast<const BYTE*>(pData), nBytes) ==
                         ERROR_SUCCESS;
        RegCloseKey(hKey);
        return bOk;
    }

    HKEY m_hHive;
    std::u16string m_Root;
};

}  // namespace

std::unique_ptr<VSettingsStore> OpenNativeSettingsStore(const std::u16string& company,
                                                        const std::u16string& product)
{
    return std::make_unique<CRegistryStore>(HKEY_CURRENT_USER, u"Software\\" + company + u"\\" + product);
}

std::unique_ptr<VSettingsStore> OpenNativeMachineSettingsStore(const std::u16string& company,
                                                               const std::u16string& product)
{
    return std::make_unique<CRegistryStore>(HKEY_LOCAL_MACHINE, u"SOFTWARE\\" + company + u"\\" + product);
}

}  // namespace zu::platform
