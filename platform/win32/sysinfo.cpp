#include "platform/sysinfo.h"

#include "platform/win32/win32.h"

namespace platform::sysinfo {
namespace {

IWbemServices* Services(void* services) { return static_cast<IWbemServices*>(services); }

ManagementValue FromElement(VARTYPE type, SAFEARRAY* array, LONG index) {
  ManagementValue value;
  if (type == VT_BSTR) {
    BSTR text = nullptr;
    if (SUCCEEDED(SafeArrayGetElement(array, &index, &text))) {
      value.kind = ManagementValue::Kind::String;
      value.text = text ? std::wstring(text, SysStringLen(text)) : std::wstring();
      SysFreeString(text);
    }
  } else if (type == VT_I4 || type == VT_UI4) {
    LONG number = 0;
    if (SUCCEEDED(SafeArrayGetElement(array, &index, &number))) {
      value.kind = ManagementValue::Kind::Int32;
      value.number = static_cast<uint32_t>(number);
    }
  }
  return value;
}

ManagementValue FromVariant(const VARIANT& variant) {
  ManagementValue value;
  const VARTYPE type = V_VT(&variant);
  if (type == VT_BSTR) {
    value.kind = ManagementValue::Kind::String;
    value.text = V_BSTR(&variant) ? std::wstring(V_BSTR(&variant), SysStringLen(V_BSTR(&variant))) : std::wstring();
  } else if (type == VT_BOOL) {
    value.kind = ManagementValue::Kind::Bool;
    value.flag = V_BOOL(&variant) != VARIANT_FALSE;
  } else if (type == VT_I4 || type == VT_UI4) {
    value.kind = ManagementValue::Kind::Int32;
    value.number = static_cast<uint32_t>(V_I4(&variant));
  } else if ((type & VT_ARRAY) && V_ARRAY(&variant)) {
    SAFEARRAY* array = V_ARRAY(&variant);
    LONG lower = 0, upper = -1;
    if (SUCCEEDED(SafeArrayGetLBound(array, 1, &lower)) && SUCCEEDED(SafeArrayGetUBound(array, 1, &upper))) {
      value.kind = ManagementValue::Kind::Array;
      for (LONG i = lower; i <= upper; ++i) value.elements.push_back(FromElement(type & VT_TYPEMASK, array, i));
    }
  }
  return value;
}

}  // namespace

ManagementSession::~ManagementSession() {
  if (services_) Services(services_)->Release();
  if (comStarted_) CoUninitialize();
}

uint32_t ManagementSession::Start() {
  const HRESULT started = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(started)) return static_cast<uint32_t>(started);
  comStarted_ = true;
  // Fails harmlessly when the process has set it already.
  CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE,
                       nullptr, EOAC_NONE, nullptr);
  IWbemLocator* locator = nullptr;
  if (FAILED(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_SERVER, IID_IWbemLocator,
                              reinterpret_cast<void**>(&locator)))) {
    return 0;
  }
  IWbemServices* services = nullptr;
  BSTR space = SysAllocString(L"root\\cimv2");
  const HRESULT connected = locator->ConnectServer(space, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services);
  SysFreeString(space);
  locator->Release();
  if (FAILED(connected)) return 0;
  if (FAILED(CoSetProxyBlanket(services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                               RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE))) {
    services->Release();
    return 0;
  }
  services_ = services;
  return 0;
}

bool ManagementSession::Query(const std::wstring& className, const std::vector<std::wstring>& properties,
                              std::vector<ManagementValue>& values) {
  values.clear();
  if (!services_) return false;
  BSTR language = SysAllocString(L"WQL");
  BSTR query = SysAllocString(QueryText(className, properties).c_str());
  IEnumWbemClassObject* results = nullptr;
  const HRESULT ran = Services(services_)->ExecQuery(
      language, query, WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, &results);
  SysFreeString(query);
  SysFreeString(language);
  if (FAILED(ran) || !results) return false;
  IWbemClassObject* object = nullptr;
  ULONG returned = 0;
  results->Next(1000, 1, &object, &returned);
  results->Release();
  if (returned == 0 || !object) return false;
  for (const auto& property : properties) {
    VARIANT variant;
    VariantInit(&variant);
    if (SUCCEEDED(object->Get(property.c_str(), 0, &variant, nullptr, nullptr))) {
      values.push_back(FromVariant(variant));
    } else {
      values.push_back({});
    }
    VariantClear(&variant);
  }
  object->Release();
  return true;
}

uint16_t NativeProcessorArchitecture() {
  SYSTEM_INFO info;
  GetNativeSystemInfo(&info);
  return info.wProcessorArchitecture;
}

LocaleNames UserInterfaceLocale() {
  const LCID locale = MAKELCID(GetSystemDefaultUILanguage(), SORT_DEFAULT);
  auto read = [locale](LCTYPE type) {
    wchar_t buffer[128] = {};
    const int length = GetLocaleInfoW(locale, type, buffer, 128);
    return length > 1 ? std::wstring(buffer, static_cast<size_t>(length - 1)) : std::wstring();
  };
  LocaleNames names;
  names.iso639 = read(LOCALE_SISO639LANGNAME);
  names.iso3166 = read(LOCALE_SISO3166CTRYNAME);
  names.englishLanguage = read(LOCALE_SENGLISHLANGUAGENAME);
  names.englishCountry = read(LOCALE_SENGLISHCOUNTRYNAME);
  return names;
}

bool ComputerName(ComputerNameKind kind, std::wstring& name) {
  COMPUTER_NAME_FORMAT format = ComputerNameNetBIOS;
  if (kind == ComputerNameKind::DnsFullyQualified) format = ComputerNamePhysicalDnsFullyQualified;
  if (kind == ComputerNameKind::DnsDomain) format = ComputerNameDnsDomain;
  wchar_t buffer[256] = {};
  DWORD size = 256;
  name.clear();
  if (!GetComputerNameExW(format, buffer, &size)) return false;
  name.assign(buffer, size);
  return !name.empty();
}

JoinStatus JoinInformation(std::wstring& name) {
  name.clear();
  LPWSTR buffer = nullptr;
  NETSETUP_JOIN_STATUS status = NetSetupUnknownStatus;
  if (NetGetJoinInformation(nullptr, &buffer, &status) != NERR_Success) return JoinStatus::Unknown;
  if (buffer) {
    name = buffer;
    NetApiBufferFree(buffer);
  }
  return static_cast<JoinStatus>(status);
}

}  // namespace platform::sysinfo
