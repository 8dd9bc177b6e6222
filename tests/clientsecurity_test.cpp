#include "tools/wmi/qvrnwmiprovider/clientsecurity.h"

#include <cstring>

#include "lab/wmi/wbemhost.h"
#include "platform/handle.h"
#include "tests/support/functiontest.h"

namespace {

// Privileges of the calling thread's token.
std::string Privileges() {
  qvrn::KernelHandle token;
  qvrn::SavedPrivileges list;
  DWORD bytes = 0;
  EXPECT_TRUE(::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put()));
  EXPECT_TRUE(::GetTokenInformation(token.Get(), TokenPrivileges, &list, sizeof list, &bytes));
  return {reinterpret_cast<const char*>(list.entries), list.count * sizeof *list.entries};
}

// What each call does to the token is told by scenarios/provider/privileges.txt.
TEST(Privileges, ComeBackWhereTheirBlockIsLargeEnough) {
  qvrn::SavedPrivileges block;
  EXPECT_HRESULT(E_FAIL, qvrn::EnableAllPrivileges(block)) << "no token";
  EXPECT_HRESULT(E_FAIL, qvrn::RestorePrivileges(block));
  EXPECT_EQ(qvrn::GetImpersonationLevel(), qvrn::ImpersonationLevel::Delegate);
  lab::RunAsClient(3, [&block] {
    ASSERT_HRESULT(S_OK, ::CoImpersonateClient());
    const std::string before = Privileges();
    const DWORD count = static_cast<DWORD>(before.size() / sizeof *block.entries);
    block.count = count - 1;
    EXPECT_HRESULT(E_OUTOFMEMORY, qvrn::EnableAllPrivileges(block));
    EXPECT_EQ(block.count, count);
    EXPECT_EQ(Privileges(), before) << "left alone where the block is too small";
    EXPECT_HRESULT(S_OK, qvrn::EnableAllPrivileges(block)) << "just large enough";
    EXPECT_NE(Privileges(), before);
    EXPECT_HRESULT(S_OK, qvrn::RestorePrivileges(block));
    EXPECT_EQ(Privileges(), before);
  });
}

}  // namespace
