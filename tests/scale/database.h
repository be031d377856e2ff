#ifndef TVL_TESTS_SCALE_DATABASE_H
#define TVL_TESTS_SCALE_DATABASE_H

#include <sys/types.h>

#include <string>
#include <vector>

// A PostgreSQL server of the test, in a folder of its own. It listens on a socket in that folder only.
// Started by root, it runs as the user "postgres".
class Database {
 public:
  // Returns why no server can be started here, or an empty text.
  static std::string WhyNot();

  // Creates the server's files in `folder`, which must not exist.
  explicit Database(std::string folder);
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database();

  // Throws std::runtime_error if the server does not start. `settings` are options like "fsync=off".
  void Start(const std::vector<std::string>& settings = {});
  void Stop();

  // Kills all processes of the server at once.
  void Kill();

  // Makes this server, which must not run, a copy of another one that follows whichever server of `cluster`,
  // the host settings of a connection, is the primary. Start starts it as a standby.
  void Follow(const Database& primary, const std::string& cluster);
  void Promote();

  // From now on, the server's programs run in the network namespace of a process.
  void RunOn(pid_t computer) { computer_ = computer; }

  // Creates the server's files, and lets other computers in these networks connect.
  void Allow(const std::string& networks) const;

  // Adds a line to the configuration, for the next start.
  void Configure(const std::string& line) const;

  // Runs SQL as the administrator. Returns the first column of the first row.
  [[nodiscard]] std::string Sql(const std::string& sql) const;

  // The settings of a service that leads here.
  [[nodiscard]] std::string Service() const;
  [[nodiscard]] const std::string& Folder() const { return folder_; }
  [[nodiscard]] std::string Socket() const { return folder_ + "/.s.PGSQL.5432"; }

 private:
  void MakeFiles() const;
  void Run(const std::string& program, const std::string& arguments) const;
  [[nodiscard]] pid_t Postmaster() const;

  std::string folder_;
  pid_t computer_ = -1;
  bool runs_ = false;
};

// Returns the children of a process.
std::vector<pid_t> ChildrenOf(pid_t parent);

#endif
