// An object a provider module made, owned together with the module: Release ends the object
// before the module is unloaded, since its code lives there.
#pragma once

#include <zureader/Types.h>

#include "platform/DynamicLibrary.h"

#include <memory>
#include <string>
#include <utility>

namespace zu::transcode {

// Texts cross to providers as ZUCHAR, which is wchar_t on Windows and char16_t elsewhere: one
// representation, two type names.
inline const ZUCHAR* ProviderText(const std::u16string& text)
{
    return reinterpret_cast<const ZUCHAR*>(text.c_str());
}

inline std::u16string FromProviderText(const ZUCHAR* pszText)
{
    return pszText ? std::u16string(reinterpret_cast<const char16_t*>(pszText)) : std::u16string();
}

template <class TObject>
struct CReleaseObject {
    void operator()(TObject* pObject) const { pObject->Release(); }
};

template <class TObject>
using TProviderPtr = std::unique_ptr<TObject, CReleaseObject<TObject>>;

template <class TObject>
class CProviderObject {
public:
    CProviderObject() = default;
    CProviderObject(std::unique_ptr<platform::VDynamicLibrary> pModule, TObject* pObject)
        : m_pModule(std::move(pModule)), m_pObject(pObject)
    {
    }
    CProviderObject(CProviderObject&&) = default;
    CProviderObject& operator=(CProviderObject&& other)
    {
        Reset();
        m_pModule = std::move(other.m_pModule);
        m_pObject = std::move(other.m_pObject);
        return *this;
    }
    ~CProviderObject() { Reset(); }

    void Reset()
    {
        m_pObject.reset();
        m_pModule.reset();
    }
    TObject* Get() const { return m_pObject.get(); }
    TObject* operator->() const { return m_pObject.get(); }
    explicit operator bool() const { return m_pObject != nullptr; }

private:
    // Declared first, so a defaulted destruction would still end the object first.
    std::unique_ptr<platform::VDynamicLibrary> m_pModule;
    TProviderPtr<TObject> m_pObject;
};

}  // namespace zu::transcode
