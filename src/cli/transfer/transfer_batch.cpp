#include "cli/transfer/transfer_batch.h"

#include <tvlclient/errors.h>

#include "cli/process.h"

namespace tvl::cli {
namespace {

constexpr int kInPlace = 0;  // SafeOnTransfert

}  // namespace

TransferBatch::TransferBatch(Store& store, TransferLog& log, Direction direction, const Options& options)
    : store_(store), log_(log), direction_(direction), options_(options) {}

void TransferBatch::Begin() {
  CTVLClientSmbOpr* directory = store_.Directory();
  if (directory == nullptr || directory->ConfigSafeOnTransfert() == kInPlace || options_.dry_run) return;
  RaiseFileLimit();
  open_ = directory->BeginTransfers() == TVL_OK;
}

void TransferBatch::Add(const TransferJob& job, Outcome outcome) {
  CTVLClientSmbOpr* directory = store_.Directory();
  const char* why = directory != nullptr ? directory->WhyInPlace() : nullptr;
  if (why != nullptr && options_.verbose)
    log_.Notice(job.names.Target(direction_), std::string("written in place: ") + why);
  if (!open_) return log_.Report(job.names, outcome, job.size);
  copied_.push_back({job, outcome});
  if (directory->TransfersFull() == 0) return;
  End();
  Begin();
}

void TransferBatch::End() {
  if (!open_) return;
  open_ = false;
  ForgetFileErrors();
  const int code = store_.Directory()->EndTransfers(ReportResult, this);
  // If memory ran out, there are no results and all files count as failed.
  for (std::size_t index = reported_; code != TVL_OK && index < copied_.size(); ++index)
    ReportResult(static_cast<int>(index), code, this);
  copied_.clear();
  reported_ = 0;
}

void TransferBatch::ReportResult(int index, int code, void* self) {
  auto* batch = static_cast<TransferBatch*>(self);
  const Copied& copied = batch->copied_.at(static_cast<std::size_t>(index));
  ++batch->reported_;
  if (code == TVL_OK)
    batch->log_.Report(copied.job.names, copied.outcome, copied.job.size);
  else
    batch->log_.ReportFailed(copied.job.names,
                             batch->store_.Explain(code, copied.job.names, batch->direction_));
}

}  // namespace tvl::cli
