#pragma once

// The help topics of keld that are no verbs.

#include <string>
#include <vector>

namespace keld {

std::vector<std::string> topicNames();
// Empty: there is no such topic.
std::string topicText(const std::string& name);

}  // namespace keld
