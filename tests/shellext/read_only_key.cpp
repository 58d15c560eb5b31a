#include "shellext/read_only_key.h"

#include <gtest/gtest.h>

CReadOnlyKey::CReadOnlyKey(HKEY root, const std::wstring& name, REGSAM view) {
    EXPECT_EQ(RegOpenKeyExW(root, name.c_str(), 0, READ_CONTROL | WRITE_DAC | KEY_READ | view, &mKey),
              ERROR_SUCCESS);
    DWORD bytes = sizeof mBefore;
    EXPECT_EQ(RegGetKeySecurity(mKey, DACL_SECURITY_INFORMATION, mBefore, &bytes), ERROR_SUCCESS);
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    PSID                     all   = nullptr;
    AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &all);
    alignas(ACL) unsigned char buffer[256];
    auto* const                list = reinterpret_cast<ACL*>(buffer);
    SECURITY_DESCRIPTOR        descriptor;
    InitializeAcl(list, sizeof buffer, ACL_REVISION);
    AddAccessAllowedAce(list, ACL_REVISION, KEY_READ | WRITE_DAC, all);
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
    EXPECT_EQ(RegSetKeySecurity(mKey, DACL_SECURITY_INFORMATION, &descriptor), ERROR_SUCCESS);
    FreeSid(all);
}

CReadOnlyKey::~CReadOnlyKey() {
    EXPECT_EQ(RegSetKeySecurity(mKey, DACL_SECURITY_INFORMATION, mBefore), ERROR_SUCCESS);
    RegCloseKey(mKey);
}
