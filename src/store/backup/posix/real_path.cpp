#include "store/backup/real_path.h"

#include <algorithm>
#include <filesystem>

namespace tvl {

namespace fs = std::filesystem;

int ResolvePath(const std::string& path, std::string& real) {
  std::error_code problem;
  real = fs::canonical(path, problem).string();
  return problem.value();
}

int FindInside(const std::string& folder, const std::string& outer, bool& is_inside) {
  std::error_code problem;
  const fs::path inner = fs::weakly_canonical(folder, problem);
  const fs::path real = fs::canonical(outer, problem);
  if (problem) return problem.value();
  const auto [end, unused] = std::mismatch(real.begin(), real.end(), inner.begin(), inner.end());
  is_inside = end == real.end();
  return 0;
}

}  // namespace tvl
