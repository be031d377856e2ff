#ifndef TVL_PLATFORM_COMMON_SEARCH_STEPS_H
#define TVL_PLATFORM_COMMON_SEARCH_STEPS_H

#include <memory>
#include <utility>

#include "platform/common/name_pattern.h"
#include "platform/folder.h"

namespace tvl {

// A search that has started. Each system derives a class that reads its folders.
class Search {
 public:
  virtual ~Search() = default;
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;

  // Stores the next match. Returns false if there is none; `Problem` then returns 0, or why the folder cannot
  // be read.
  [[nodiscard]] bool Next(WIN32_FIND_DATAA* found);
  [[nodiscard]] virtual int Problem() const = 0;

 protected:
  explicit Search(SearchAim aim) : aim_(std::move(aim)) {}
  [[nodiscard]] const std::string& Path() const { return aim_.path; }  // of the folder, with its separator

 private:
  // Returns the next name of any kind, or null.
  virtual const char* NextName() = 0;
  // Stores the attributes of the entry that NextName has returned, and whether it is reachable.
  virtual void Describe(WIN32_FIND_DATAA& found) const = 0;

  [[nodiscard]] bool IsWanted(std::string_view name) const;

  SearchAim aim_;
};

// Each system implements these two. They may throw std::bad_alloc.
[[nodiscard]] std::unique_ptr<Search> NewSearch(SearchAim aim);
[[nodiscard]] std::unique_ptr<Search> NewSearchIn(const Folder& folder, SearchAim aim);

}  // namespace tvl

#endif
