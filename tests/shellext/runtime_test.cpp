#include "shellext/Guard.h"
#include "shellext/runtime/AtlModule.h"
#include "shellext/runtime/ClassCategories.h"
#include "shellext/runtime/ModuleFile.h"
#include "shellext/runtime/RegObject.h"

#include <gtest/gtest.h>

#include <stdexcept>

// The parts that the DLL's clients cannot reach: other scripts, registration for one user, faults.

namespace {

/// One line for each key and value, in the order of the script.
std::wstring Dump(const std::vector<CRegKey>& keys) {
    std::wstring text;
    for (const CRegKey& key : keys) {
        text += key.mForceRemove ? L"!" : key.mNoRemove ? L"+" : L"";
        text += L"<" + key.mName + L">";
        if (key.mDefault) text += L"=" + *key.mDefault;
        for (const CRegValue& value : key.mValues)
            text += L" " + value.mName + L":" + value.mData;
        if (!key.mKeys.empty()) text += L"{" + Dump(key.mKeys) + L"}";
    }
    return text;
}

const CReplacements kReplacements = {
    {L"ID", L"{1-2}"}, {L"PATH", L"C:\\it's %ID% {x} 'y' = s\\z.dll"}, {L"EMPTY", L""}};

TEST(RegScript, ReadsKeysValuesAndReplacements) {
    const struct {
        const wchar_t* mScript;
        const wchar_t* mDump;
    } rows[] = {
        {L"", L""},
        {L"HKCR { }", L"<HKCR>"},
        {L"HKCR\r\n{\r\n\tNoRemove A\r\n\t{\r\n\t\tForceRemove B\r\n\t}\r\n}", L"<HKCR>{+<A>{!<B>}}"},
        {L"HKCR { A = s 'text' { val v = s 'x' val 'w w' = s y B } C }",
         L"<HKCR>{<A>=text v:x w w:y{<B>}<C>}"},
        {L"HKCR { 'it''s' = s '' }", L"<HKCR>{<it's>=}"},
        {L"HKCR { '{' = s '}' 'val' 'NoRemove' }", L"<HKCR>{<{>=}<val><NoRemove>}"},
        {L"HKCR { %ID% = s '%ID%-%ID%' }", L"<HKCR>{<{1-2}>={1-2}-{1-2}}"},
        {L"HKCR { A = s '100%% %ID%' }", L"<HKCR>{<A>=100% {1-2}}"},
        {L"HKCR { A = s '%EMPTY%' }", L"<HKCR>{<A>=}"},
        // what is put in stays as it is
        {L"HKCR { A = s '%PATH%' B = s %PATH% }",
         L"<HKCR>{<A>=C:\\it's %ID% {x} 'y' = s\\z.dll<B>=C:\\it's %ID% {x} 'y' = s\\z.dll}"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Dump(ParseRegScript(row.mScript, kReplacements)), row.mDump);
}

TEST(RegScript, RefusesWhatIsNoScript) {
    for (const wchar_t* script :
         {L"HKCR {", L"HKCR { A = }", L"HKCR { A = s", L"HKCR { A = d '1' }", L"HKCR { val = s 'x' }",
          L"HKCR { val a s 'x' }", L"HKCR { 'open }", L"HKCR { %UNKNOWN% }", L"HKCR { %ID }", L"{ A }",
          L"= s 'x'", L"NoRemove", L"HKCR { } }",
          // an empty name would be the parent itself
          L"HKCR { ForceRemove %EMPTY% }", L"HKCR { ForceRemove '' }"})
        EXPECT_THROW(ParseRegScript(script, kReplacements), XRegScriptError) << script;
}

constexpr wchar_t kUserClasses[] = L"Software\\Classes";
constexpr wchar_t kScript[] =
    L"HKCR { NoRemove TarvexTest { A = s 'a' { val v = s '%MODULE%' B } C = s 'c' } }";

std::wstring UserText(const std::wstring& key, const wchar_t* value = nullptr) {
    wchar_t       data[1024] = {};
    DWORD         bytes      = sizeof data;
    const LSTATUS status = RegGetValueW(HKEY_CURRENT_USER, (std::wstring(kUserClasses) + L"\\" + key).c_str(),
                                        value, RRF_RT_REG_SZ, nullptr, data, &bytes);
    return status == ERROR_SUCCESS ? data : L"(none)";
}

bool HasKey(HKEY root, const std::wstring& name) {
    HKEY       key    = nullptr;
    const bool exists = RegOpenKeyExW(root, name.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS;
    if (exists) RegCloseKey(key);
    return exists;
}

/// Registration for this user alone, as long as the fixture lives.
class PerUser : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_FALSE(AtlGetPerUserRegistration()) << "off until it is set";
        AtlSetPerUserRegistration(true);
    }
    void TearDown() override {
        AtlSetPerUserRegistration(false);
        RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Classes\\TarvexTest");
    }
};

TEST_F(PerUser, ScriptsWriteBelowTheUsersClasses) {
    const CRegObject registrar({});
    EXPECT_EQ(registrar.StringRegister(kScript), S_OK);
    EXPECT_EQ(UserText(L"TarvexTest\\A"), L"a");
    EXPECT_EQ(UserText(L"TarvexTest\\A", L"v"), ModuleFilePath(ThisModule()));
    EXPECT_TRUE(HasKey(HKEY_CURRENT_USER, L"Software\\Classes\\TarvexTest\\A\\B"));
    EXPECT_FALSE(HasKey(HKEY_LOCAL_MACHINE, L"Software\\Classes\\TarvexTest"));

    EXPECT_EQ(registrar.StringUnregister(kScript), S_OK);
    EXPECT_TRUE(HasKey(HKEY_CURRENT_USER, L"Software\\Classes\\TarvexTest")) << "a key that stays";
    EXPECT_FALSE(HasKey(HKEY_CURRENT_USER, L"Software\\Classes\\TarvexTest\\A"));
    EXPECT_FALSE(HasKey(HKEY_CURRENT_USER, L"Software\\Classes\\TarvexTest\\C"));
    EXPECT_EQ(registrar.StringUnregister(kScript), S_OK) << "there is nothing left to remove";
}

TEST_F(PerUser, FaultsComeBackAsCodes) {
    const CRegObject registrar({});
    const HRESULT    badScript = HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
    EXPECT_EQ(registrar.StringRegister(L"HKCR { TarvexTest { } ' }"), badScript);
    EXPECT_EQ(registrar.StringRegister(L"HKXX { TarvexTest }"), badScript);
    EXPECT_FALSE(HasKey(HKEY_CURRENT_USER, L"Software\\Classes\\TarvexTest")) << "nothing is written before";
    EXPECT_TRUE(FAILED(registrar.UpdateFromResource(4711, true)));
    const std::wstring tooLong(300, L'k');
    EXPECT_TRUE(FAILED(registrar.StringRegister(L"HKCR { TarvexTest { " + tooLong + L" } }")));
}

/// A module with two classes; each step notes its name and fails when it is told to.
std::wstring      gSteps;
std::wstring      gFailingStep;
std::vector<LCID> gLocales;

HRESULT Step(const std::wstring& name, bool registering) {
    const std::wstring step = (registering ? L"+" : L"-") + name;
    gSteps += step + L" ";
    gLocales.push_back(GetThreadLocale());
    return step == gFailingStep ? E_ACCESSDENIED : S_OK;
}

constexpr CLSID       kFirst        = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr CLSID       kSecond       = {2, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr CATID       kCategories[] = {{3, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}};
const CObjectMapEntry kMap[]        = {
           {&kFirst, nullptr, [](bool registering) { return Step(L"first", registering); }, kCategories},
           {&kSecond, nullptr, [](bool registering) { return Step(L"second", registering); }},
};

class CTestModule final : public CAtlDllModuleT<CTestModule> {
  public:
    CTestModule() : CAtlDllModuleT(kMap) {}
    static HRESULT UpdateRegistryAppId(bool registering) { return Step(L"appid", registering); }
};

std::wstring CategoryKey() {
    return L"CLSID\\" + GuidText(kFirst) + L"\\Implemented Categories\\" + GuidText(kCategories[0]);
}

/// This program holds no type library, so registration goes on up to that step and fails there.
TEST(ModuleRegistration, StopsAtTheFirstFailureAndTakesBackWhatWasDone) {
    const struct {
        const wchar_t* mFailing;
        const wchar_t* mSteps;
        bool           mAccessDenied;
    } rows[] = {
        {L"+appid", L"+appid -first -second -appid ", true},
        {L"+first", L"+appid +first -first -second -appid ", true},
        {L"+second", L"+appid +first +second -first -second -appid ", true},
        {L"", L"+appid +first +second -first -second -appid ", false},
        // taking back goes on past a failure, and the answer is the first one
        {L"-first", L"+appid +first +second -first -second -appid ", false},
    };
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const CTestModule module;
    const LCID        before = GetThreadLocale();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mFailing);
        gSteps.clear();
        gFailingStep = row.mFailing;
        SetThreadLocale(0x407);
        const HRESULT result = module.DllRegisterServer();
        EXPECT_TRUE(FAILED(result));
        EXPECT_EQ(result == E_ACCESSDENIED, row.mAccessDenied);
        EXPECT_EQ(gSteps, row.mSteps);
        EXPECT_EQ(GetThreadLocale(), 0x407u);
        EXPECT_FALSE(HasKey(HKEY_CLASSES_ROOT, CategoryKey()));
    }
    gSteps.clear();
    gFailingStep = L"-first";
    EXPECT_EQ(module.DllUnregisterServer(), E_ACCESSDENIED);
    EXPECT_EQ(gSteps, L"-first -second -appid ");
    EXPECT_EQ(GetThreadLocale(), 0x407u);
    for (const LCID locale : gLocales)
        EXPECT_NE(locale, 0x407u) << "the steps run in the system's locale";
    SetThreadLocale(before);
    RegDeleteTreeW(HKEY_CLASSES_ROOT, (L"CLSID\\" + GuidText(kFirst)).c_str());
    CoUninitialize();
}

TEST(ClassCategories, AreNotedAndTakenBack) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ(RegisterClassCategories(kFirst, kCategories), S_OK);
    EXPECT_TRUE(HasKey(HKEY_CLASSES_ROOT, CategoryKey()));
    EXPECT_EQ(UnregisterClassCategories(kFirst, kCategories), S_OK);
    EXPECT_FALSE(HasKey(HKEY_CLASSES_ROOT, CategoryKey()));
    RegDeleteTreeW(HKEY_CLASSES_ROOT, (L"CLSID\\" + GuidText(kFirst)).c_str());
    CoUninitialize();
    EXPECT_EQ(RegisterClassCategories(kFirst, {}), S_OK) << "needs nothing from the system";
}

TEST(Guard, TurnsExceptionsAndNullPointersIntoCodes) {
    int out = 0;
    EXPECT_EQ(Guard({&out}, [] { return S_FALSE; }), S_FALSE);
    EXPECT_EQ(Guard({&out, nullptr}, []() -> HRESULT { throw 1; }), E_POINTER);
    EXPECT_EQ(Guard({}, []() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(Guard({}, []() -> HRESULT { throw std::runtime_error("x"); }), E_FAIL);
    EXPECT_EQ(Guard({}, []() -> HRESULT { throw 1; }), E_FAIL);
}

}  // namespace
