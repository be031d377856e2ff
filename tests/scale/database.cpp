#include "scale/database.h"

#include <libpq-fe.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <utility>

namespace {

namespace fs = std::filesystem;

constexpr char kUser[] = "postgres";

// Returns the folder of the newest release's programs, or an empty text.
std::string Programs() {
  std::vector<std::string> found;
  std::error_code ignored;
  for (const auto& release : fs::directory_iterator("/usr/lib/postgresql", ignored)) {
    if (fs::exists(release.path() / "bin/initdb")) found.push_back(release.path() / "bin");
  }
  return found.empty() ? std::string() : *std::max_element(found.begin(), found.end());
}

}  // namespace

std::string Database::WhyNot() {
  if (Programs().empty()) return "PostgreSQL is not installed";
  if (geteuid() == 0 && getpwnam(kUser) == nullptr) return "there is no user 'postgres'";
  return {};
}

Database::Database(std::string folder) : folder_(std::move(folder)) {
  fs::create_directories(folder_);
  if (const passwd* user = geteuid() == 0 ? getpwnam(kUser) : nullptr) {
    if (chown(folder_.c_str(), user->pw_uid, user->pw_gid) != 0) throw std::runtime_error("chown");
  }
}

Database::~Database() {
  if (runs_) Kill();
}

void Database::Run(const std::string& program, const std::string& arguments) const {
  const std::string as =
      geteuid() == 0 ? std::string("setpriv --reuid=") + kUser + " --regid=" + kUser + " --clear-groups "
                     : "";
  const std::string there =
      computer_ > 0 ? "nsenter --target " + std::to_string(computer_) + " --net " : std::string();
  const std::string command = "cd / && " + there + as + Programs() + '/' + program + ' ' + arguments + " >>" +
                              folder_ + "/log 2>&1 </dev/null";
  if (system(command.c_str()) == 0) return;
  std::ifstream log(folder_ + "/server.log");
  throw std::runtime_error(command + '\n' + std::string(std::istreambuf_iterator<char>(log), {}));
}

void Database::MakeFiles() const {
  const std::string data = folder_ + "/data";
  if (!fs::exists(data)) Run("initdb", "-D " + data + " -U tvl -A trust -N -E UTF8 --locale=C");
}

void Database::Allow(const std::string& networks) const {
  MakeFiles();
  std::ofstream(folder_ + "/data/pg_hba.conf", std::ios::app) << "host all all " << networks << " trust\n";
}

void Database::Start(const std::vector<std::string>& settings) {
  const std::string data = folder_ + "/data";
  MakeFiles();
  std::string options =
      "-c listen_addresses= -c max_connections=50 -c dynamic_shared_memory_type=mmap -k " + folder_;
  for (const std::string& setting : settings) options += " -c " + setting;
  Run("pg_ctl", "-D " + data + " -w -s -l " + folder_ + "/server.log -o \"" + options + "\" start");
  runs_ = true;
}

void Database::Stop() {
  Run("pg_ctl", "-D " + folder_ + "/data -w -s -m fast stop");
  runs_ = false;
}

void Database::Follow(const Database& primary, const std::string& cluster) {
  const std::string data = folder_ + "/data";
  fs::remove_all(data);
  Run("pg_basebackup", "-h " + primary.folder_ + " -U tvl -D " + data + " -c fast");
  Configure("primary_conninfo = '" + cluster + " user=tvl target_session_attrs=read-write'");
  std::ofstream(data + "/standby.signal").flush();
}

void Database::Promote() {
  Run("pg_ctl", "-D " + folder_ + "/data -w -s promote");
}

void Database::Configure(const std::string& line) const {
  std::ofstream(folder_ + "/data/postgresql.auto.conf", std::ios::app) << line << '\n';
}

pid_t Database::Postmaster() const {
  pid_t process = -1;
  std::ifstream(folder_ + "/data/postmaster.pid") >> process;
  return process;
}

// Stopped first, so that the postmaster starts no process that is missed.
void Database::Kill() {
  runs_ = false;
  const pid_t postmaster = Postmaster();
  if (postmaster <= 1) return;
  kill(postmaster, SIGSTOP);
  for (const pid_t child : ChildrenOf(postmaster)) kill(child, SIGKILL);
  kill(postmaster, SIGKILL);
  while (kill(postmaster, 0) == 0 && !ChildrenOf(postmaster).empty()) usleep(1000);
  // Until it is reaped, a killed process looks alive to the next start.
  fs::remove(Socket() + ".lock");
}

std::string Database::Service() const {
  return "host=" + folder_ + "\nport=5432\nuser=tvl\ndbname=postgres\n";
}

std::string Database::Sql(const std::string& sql) const {
  const std::unique_ptr<PGconn, decltype(&PQfinish)> connection(
      PQconnectdb(("host=" + folder_ + " port=5432 user=tvl dbname=postgres").c_str()), PQfinish);
  const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection.get(), sql.c_str()), PQclear);
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK)
    throw std::runtime_error(sql + ": " + PQerrorMessage(connection.get()));
  return PQntuples(result.get()) > 0 ? PQgetvalue(result.get(), 0, 0) : "";
}

std::vector<pid_t> ChildrenOf(pid_t parent) {
  std::vector<pid_t> children;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    std::ifstream file(entry.path() / "stat");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    const std::size_t name_end = text.rfind(')');
    if (name_end == std::string::npos) continue;
    if (std::atoi(text.c_str() + name_end + 4) == parent) children.push_back(std::stoi(name));
  }
  return children;
}
