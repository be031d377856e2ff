#ifndef TVL_CLI_DOCTOR_PEER_H
#define TVL_CLI_DOCTOR_PEER_H

#include <string>

namespace tvl::cli {

// Connects two runs of doctor on two computers through a folder in the store. The run that creates the folder
// is the first half and removes the folder at the end. Each message is a file that the other half must see.
class Peer {
 public:
  // Throws Stop if the folder cannot be created or opened.
  Peer(const std::string& folder, const std::string& name);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  [[nodiscard]] bool IsFirst() const { return first_; }

  void Say(const std::string& text = {});
  // Returns the other half's next message. Throws Stop if none arrives in time.
  std::string Hear();

  // Returns the path of a file for a check. Each round has its own files.
  [[nodiscard]] std::string Path(const std::string& name) const;
  void StartRound(int round) { round_ = round; }

 private:
  [[nodiscard]] std::string MessageName(bool of_first, int number) const;
  [[nodiscard]] bool Lists(const std::string& name) const;

  std::string path_;
  bool first_ = false;
  int said_ = 0;
  int heard_ = 0;
  int round_ = 0;
};

}  // namespace tvl::cli

#endif
