#include "transfer/sha1_transform.h"

tvl::Sha1Transform tvl::ProcessorSha1Transform() {
  return nullptr;
}
