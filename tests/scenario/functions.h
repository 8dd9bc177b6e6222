// Single functions of the product: what a request reaches only by way of others, or with arguments of its own.
#pragma once

#include <string>
#include <vector>

namespace scenario {

/// Calls one under observation. Functions that write a text take the size of their buffer last and give what is in it
/// afterwards behind their result; it begins as "#"s. Throws for an unknown name.
std::string CallFunction(const std::string& name, const std::vector<std::wstring>& arguments);

}  // namespace scenario
