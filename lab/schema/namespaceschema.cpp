#include "lab/schema/namespaceschema.h"

#include <mutex>

#include "lab/modulepath.h"
#include "lab/schema/mofreader.h"
#include "lab/schema/textcompare.h"

namespace lab {
namespace {

struct Overrides {
  std::mutex mutex;
  Schema schema;
};

// Never destroyed, like what a provider may still ask for at the end of a process.
Overrides& TheOverrides() {
  static Overrides& overrides = *new Overrides;
  return overrides;
}

}  // namespace

const Schema& NamespaceSchema() {
  static const Schema& schema = *[] {
    auto read = std::make_unique<Schema>();
    for (const wchar_t* file : {L"platform.mof", L"qvrnwmiprovider.mof"}) ReadMofFile(ModuleFolder() + file, *read);
    return read.release();
  }();
  return schema;
}

std::shared_ptr<const ClassDefinition> FindClass(std::wstring_view className) {
  const std::lock_guard lock(TheOverrides().mutex);
  const auto replaced = TheOverrides().schema.Find(className);
  return replaced == nullptr ? NamespaceSchema().Find(className) : replaced;
}

void OverrideClass(std::shared_ptr<const ClassDefinition> definition) {
  const std::lock_guard lock(TheOverrides().mutex);
  auto& classes = TheOverrides().schema.classes;
  if (definition == nullptr) return classes.clear();
  std::erase_if(classes, [&](const auto& old) { return SameText(old->name, definition->name); });
  classes.push_back(std::move(definition));
}

}  // namespace lab
