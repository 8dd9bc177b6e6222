// Reads the part of MOF that this product's files use.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "lab/schema/schema.h"

namespace lab {

/// A file that the reader does not understand; what() is "FILE:LINE:COLUMN: message".
class MofError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads MOF text (ASCII: compilers disagree about anything else) into `schema`; what stands there already may be used.
/// `file` is the name for messages. Throws MofError, which leaves `schema` as it was. Beyond the grammar it refuses what
/// the service would take and then not serve: a dynamic class without a key, or whose provider is not registered.
void ReadMof(std::string_view text, const std::string& file, Schema& schema);

/// Reads a MOF file. Throws MofError, also for a file that cannot be read.
void ReadMofFile(const std::wstring& path, Schema& schema);

}  // namespace lab
