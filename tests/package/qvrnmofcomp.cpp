// A compiler of class definitions for tests of the installer, where the platform's own does nothing: it reads a file as
// the lab does, logs how many classes that makes, and fails when the file is wrong or when told to.
#include <windows.h>

#include <cstdio>
#include <string>

#include "lab/schema/mofreader.h"

namespace {

constexpr wchar_t kPlatformClasses[] = L"C:\\qvrn\\platform.mof";
constexpr wchar_t kFailing[] = L"C:\\mofcomp-fails";
constexpr char kLog[] = "C:\\mofcomp.log";

enum ExitCode { kDone = 0, kWrongUsage = 2, kWrongFile = 3 };

void Log(const std::wstring& path, const std::string& outcome) {
  if (FILE* const log = std::fopen(kLog, "a")) {
    std::fprintf(log, "%ls: %s\n", path.c_str(), outcome.c_str());
    std::fclose(log);
  }
}

ExitCode Compile(const std::wstring& path) {
  lab::Schema schema;
  lab::ReadMofFile(kPlatformClasses, schema);
  const std::size_t ofPlatform = schema.classes.size();
  lab::ReadMofFile(path, schema);
  if (::GetFileAttributesW(kFailing) != INVALID_FILE_ATTRIBUTES) {
    Log(path, "failed as told");
    return kWrongFile;
  }
  Log(path, std::to_string(schema.classes.size() - ofPlatform) + " classes");
  return kDone;
}

}  // namespace

extern "C" int wmain(int count, wchar_t** words) {
  if (count != 2) return kWrongUsage;
  try {
    return Compile(words[1]);
  } catch (const lab::MofError& error) {
    Log(words[1], error.what());
    return kWrongFile;
  }
}
