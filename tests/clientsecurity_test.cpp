#include "tools/wmi/qvrnwmiprovider/clientsecurity.h"

#include <gmock/gmock.h>

#include <cstring>

#include "lab/wmi/wbemhost.h"
#include "platform/handle.h"
#include "platform/wmi.h"
#include "tests/support/hresult.h"

namespace {

// Privileges of the calling thread's token.
qvrn::SavedPrivileges Privileges() {
  qvrn::KernelHandle token;
  qvrn::SavedPrivileges list;
  DWORD bytes = 0;
  EXPECT_TRUE(::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put()));
  EXPECT_TRUE(::GetTokenInformation(token.Get(), TokenPrivileges, &list, sizeof list, &bytes));
  return list;
}

bool Same(const qvrn::SavedPrivileges& one, const qvrn::SavedPrivileges& other) {
  return one.count == other.count && std::memcmp(one.entries, other.entries, one.count * sizeof *one.entries) == 0;
}

TEST(Privileges, AreAllEnabledAndPutBack) {
  lab::RunAsClient(3, [] {
    ASSERT_HRESULT(S_OK, ::CoImpersonateClient());
    const qvrn::SavedPrivileges before = Privileges();
    qvrn::SavedPrivileges block;
    block.count = before.count - 1;
    EXPECT_HRESULT(E_OUTOFMEMORY, qvrn::EnableAllPrivileges(block));
    EXPECT_EQ(block.count, before.count);
    EXPECT_TRUE(Same(Privileges(), before)) << "left alone where the block is too small";
    EXPECT_HRESULT(S_OK, qvrn::EnableAllPrivileges(block)) << "just large enough";
    EXPECT_TRUE(Same(block, before));
    const qvrn::SavedPrivileges enabled = Privileges();
    for (DWORD index = 0; index < enabled.count; ++index)
      EXPECT_TRUE(enabled.entries[index].Attributes & SE_PRIVILEGE_ENABLED) << index;
    EXPECT_HRESULT(S_OK, qvrn::RestorePrivileges(block));
    EXPECT_TRUE(Same(Privileges(), before));
  });
}

TEST(Privileges, NeedAToken) {
  qvrn::SavedPrivileges block;
  EXPECT_HRESULT(E_FAIL, qvrn::EnableAllPrivileges(block));
  EXPECT_HRESULT(E_FAIL, qvrn::RestorePrivileges(block));
  EXPECT_EQ(qvrn::GetImpersonationLevel(), qvrn::ImpersonationLevel::Delegate);
}

}  // namespace
