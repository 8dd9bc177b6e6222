#include "tools/wmi/qvrnwmiprovider/clientsecurity.h"

#include <gmock/gmock.h>

#include <map>
#include <vector>

#include "lab/wmi/wbemhost.h"
#include "platform/handle.h"
#include "platform/wmi.h"
#include "tests/support/hresult.h"

namespace {

// Attributes of the thread token's privileges by their LUID.
std::map<DWORD, DWORD> Privileges() {
  qvrn::KernelHandle token;
  std::map<DWORD, DWORD> privileges;
  std::vector<BYTE> data(4096);
  DWORD bytes = 0;
  if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put())) return privileges;
  if (!::GetTokenInformation(token.Get(), TokenPrivileges, data.data(), 4096, &bytes)) return privileges;
  const auto* list = reinterpret_cast<const TOKEN_PRIVILEGES*>(data.data());
  for (DWORD index = 0; index < list->PrivilegeCount; ++index) {
    privileges[list->Privileges[index].Luid.LowPart] = list->Privileges[index].Attributes;
  }
  return privileges;
}

TEST(ImpersonationLevel, FollowsTheThreadToken) {
  EXPECT_EQ(qvrn::GetImpersonationLevel(), qvrn::ImpersonationLevel::Delegate) << "a thread without a token";
  for (DWORD level = 1; level <= 4; ++level) {
    lab::RunAsClient(level, [level] {
      ASSERT_HRESULT(S_OK, ::CoImpersonateClient());
      EXPECT_EQ(static_cast<DWORD>(qvrn::GetImpersonationLevel()), level);
    });
  }
}

TEST(Privileges, AreAllEnabledAndPutBack) {
  lab::RunAsClient(3, [] {
    ASSERT_HRESULT(S_OK, ::CoImpersonateClient());
    const std::map<DWORD, DWORD> before = Privileges();
    ASSERT_FALSE(before.empty());
    qvrn::SavedPrivileges block;
    EXPECT_HRESULT(S_OK, qvrn::EnableAllPrivileges(block));
    EXPECT_EQ(block.count, before.size());
    for (const auto& [luid, attributes] : Privileges()) EXPECT_TRUE(attributes & SE_PRIVILEGE_ENABLED) << luid;
    EXPECT_HRESULT(S_OK, qvrn::RestorePrivileges(block));
    EXPECT_EQ(Privileges(), before);
  });
}

TEST(Privileges, AreLeftAloneWhereTheBlockIsTooSmall) {
  lab::RunAsClient(3, [] {
    ASSERT_HRESULT(S_OK, ::CoImpersonateClient());
    const std::map<DWORD, DWORD> before = Privileges();
    qvrn::SavedPrivileges block;
    block.count = 1;
    EXPECT_HRESULT(E_OUTOFMEMORY, qvrn::EnableAllPrivileges(block));
    EXPECT_EQ(block.count, before.size());
    EXPECT_EQ(Privileges(), before);
  });
}

TEST(Privileges, FailWithoutAToken) {
  qvrn::SavedPrivileges block;
  EXPECT_HRESULT(E_FAIL, qvrn::EnableAllPrivileges(block));
  EXPECT_HRESULT(E_FAIL, qvrn::RestorePrivileges(block));
}

}  // namespace
