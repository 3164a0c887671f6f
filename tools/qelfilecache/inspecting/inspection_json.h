#pragma once

#include "tools/qelfilecache/inspecting/explanation.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>

namespace QEL::FrontEnd::Tool {

/// Times are texts in UTC such as "2026-11-21T10:20:33Z", null when they are unknown.
nlohmann::ordered_json To_Json(const FileCache::Inspected_Entry& entry, const std::optional<std::uintmax_t>& size);
nlohmann::ordered_json To_Json(const FileCache::Inspected_Setting& setting);
nlohmann::ordered_json To_Json(const FileCache::Request_Explanation& explained);
nlohmann::ordered_json To_Json(const FileCache::Remote_Answer& answer);
nlohmann::ordered_json To_Json(const FileCache::Response_Details& details);
nlohmann::ordered_json To_Json(const std::vector<Asked>& all_asked);

/// Writes it to standard output, without the passwords of URLs; what is no UTF-8 text shows as U+FFFD.
void Write_Json(nlohmann::ordered_json json);

} // namespace QEL::FrontEnd::Tool
