#pragma once

#include "RunProgram.h"

/// What stands in a JSON file.
inline nlohmann::json readJson(const std::string& path)
{
  std::ifstream file(path);
  return nlohmann::json::parse(file);
}

/// The numbers, also of lists among them, with commas between.
inline std::string listOf(const nlohmann::json& parts)
{
  std::string text;
  for (const nlohmann::json& part : parts)
    text += (text.empty() ? "" : ",") + (part.is_array() ? listOf(part) : part.dump());
  return text;
}

/// The real meshes and what is known of them. Tests are skipped where there are none.
class Reference : public testing::Test
{
protected:
  using Arguments = std::vector<std::string>;

  void SetUp() override
  {
    if (dataFile("reference.json").empty()) GTEST_SKIP() << "VELMO_TEST_DATA is not set";
    m_sets = readJson(dataFile("reference.json"))["sets"];
  }
  /// Calls visit(set, arguments, kind) for each set of which this is known and whose kind begins
  /// so, with the options that read it for a report.
  /// @return how many there are
  template <class Visit>
  int forEachSet(const char* known, const char* kindBegins, const Visit& visit) const
  {
    int count = 0;
    for (const auto& [name, set] : m_sets.items()) {
      const std::string kind = set["mesh_kind_name"];
      if (!set.contains(known) || !kind.starts_with(kindBegins)) continue;
      SCOPED_TRACE(name);
      ++count;
      Arguments arguments{dataFile(set["file"]), "--report", "-"};
      if (kind == "VOLUME_MESH_HEXAHEDRON_IJK")
        for (const std::string& more : {std::string("--ijk"), listOf(set["ijk_dims"]),
                                        std::string("--active"), std::string("ACTNUM")})
          arguments.push_back(more);
      visit(set, arguments, kind);
    }
    return count;
  }
  nlohmann::json m_sets;
};
