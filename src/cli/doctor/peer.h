#ifndef TVL_CLI_DOCTOR_PEER_H
#define TVL_CLI_DOCTOR_PEER_H

#include <string>

namespace tvl::cli {

// The conversation of two runs, on two computers, through a folder in the store. The run that creates the
// folder is the first half and removes it at the end; the other is the second. Each message is a file, which
// the other half must see.
class Peer {
 public:
  // Throws Stop if the folder can be neither created nor entered.
  Peer(const std::string& folder, const std::string& name);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  [[nodiscard]] bool IsFirst() const { return first_; }

  void Say(const std::string& text = {});
  // The other half's next message. Throws Stop if it does not come.
  std::string Hear();

  // A file for a check, which each round has anew.
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
