#ifndef TVL_FRONTEND_C_TABLE_HANDLES_H
#define TVL_FRONTEND_C_TABLE_HANDLES_H

#include <memory>
#include <vector>

#include <tvlclient/record.h>
#include <tvlclient/tvlc.h>

#include "frontend/c/handle.h"
#include "frontend/c/row_block.h"

struct tvlc_table {
  std::shared_ptr<tvl::c::Connection> connection;
  int handle = -1;  // of the connection's table
  tvl::c::TableLengths lengths;
};

struct tvlc_records {
  std::shared_ptr<tvl::c::Connection> connection;
  tvl::c::RowBlock rows;
  std::vector<_format_> fields;  // empty without a schema
};

#endif
