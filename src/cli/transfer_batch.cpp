#include "cli/transfer_batch.h"

#include <sys/resource.h>

#include <tvlclient/errors.h>

namespace tvl::cli {
namespace {

constexpr int kSynced = 2;  // SafeOnTransfert

// The files of a group are open until it ends.
void RaiseFileLimit() {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  constexpr rlim_t kEnough = 4096;
  if (limit.rlim_cur >= kEnough) return;
  limit.rlim_cur = limit.rlim_max < kEnough ? limit.rlim_max : kEnough;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

TransferBatch::TransferBatch(Store& store, TransferLog& log, Direction direction, const Options& options)
    : store_(store), log_(log), direction_(direction), options_(options) {}

void TransferBatch::Begin() {
  CTVLClientSmbOpr* directory = store_.Directory();
  if (directory == nullptr || directory->ConfigSafeOnTransfert() != kSynced || options_.dry_run) return;
  RaiseFileLimit();
  open_ = directory->BeginTransfers() == TVL_OK;
}

void TransferBatch::Add(const TransferJob& job, Outcome outcome) {
  CTVLClientSmbOpr* directory = store_.Directory();
  const char* why = directory != nullptr ? directory->WhyInPlace() : nullptr;
  if (why != nullptr && options_.verbose)
    log_.Notice(job.names.Target(direction_) + ": written in place: " + why);
  if (!open_) return log_.Tell(job.names, outcome, job.size);
  copied_.push_back({job, outcome});
  if (directory->TransfersFull() == 0) return;
  End();
  Begin();
}

void TransferBatch::End() {
  if (!open_) return;
  open_ = false;
  ForgetFileErrors();
  const int code = store_.Directory()->EndTransfers(TellResult, this);
  // Without results, for lack of memory, nothing is known to be in place.
  for (std::size_t index = told_; code != TVL_OK && index < copied_.size(); ++index)
    TellResult(static_cast<int>(index), code, this);
  copied_.clear();
  told_ = 0;
}

void TransferBatch::TellResult(int index, int code, void* self) {
  auto* batch = static_cast<TransferBatch*>(self);
  const Copied& copied = batch->copied_.at(static_cast<std::size_t>(index));
  ++batch->told_;
  if (code == TVL_OK)
    batch->log_.Tell(copied.job.names, copied.outcome, copied.job.size);
  else
    batch->log_.TellFailed(copied.job.names,
                           batch->store_.Explain(code, copied.job.names, batch->direction_));
}

}  // namespace tvl::cli
