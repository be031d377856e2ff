// Writes rows of a keyed table, and reads and changes those whose key begins with a prefix.
//
// Usage: orders_table CONFIG

#include <cstdio>

#include <tvlclient/tvlclient.h>

namespace {

// A text of 8 bytes, and a number of 7 digits before the point and 2 after it, which takes 5 bytes.
constexpr char kSchema[] = "number-D8 total-F7.2";
constexpr int kRecordLength = 13;
constexpr int kKeyLength = 8;

struct Order {
  const char* number;
  const char* total;
};
constexpr Order kOrders[] = {{"A1", "12.50"}, {"A2", "7.00"}, {"B1", "-3.20"}};

int Complain(const char* what, int code) {
  std::fprintf(stderr, "%s: %s\n", what, TVLFormatError(code).GetString());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s CONFIG\n", argv[0]);
    return 2;
  }
  char work[260] = "", client[] = "demo", table[] = "orders.dat";  // tables need no working directory
  CTVLClientSmbOpr store;
  if (const int code = store.Open(work, argv[1], client)) return Complain(argv[1], code);

  CTVLCtreeRecord order;
  order.Attach(kSchema, kRecordLength);
  CTVLCtreeRs orders(&store);
  if (orders.Open(table) != TVL_OK) {
    if (const int code = orders.InitAndOpen(table, kRecordLength, kKeyLength, 0))
      return Complain(table, code);
  }
  for (const Order& row : kOrders) {
    orders.AddNew(row.number, nullptr, nullptr);
    orders.Attach(&order, -1);
    orders.SetFieldValueByName("number", row.number);
    orders.SetFieldValueByName("total", row.total);
  }
  if (const int code = orders.WriteTheBlock()) return Complain(table, code);

  // Cancels the orders that begin with A. Several prefixes are separated by the byte 0x01.
  char prefixes[] = "A";
  if (orders.ReadKeyPrefiz(prefixes) == 0) return Complain(table, TVL_ERR_SERVER_FILE);
  for (orders.Rewind(); orders.Next() != 0;) {
    orders.Attach(&order, -1);
    char number[9] = "", total[11] = "";  // the length of a text + 1; twice the bytes of a number + 1
    orders.GetFieldValueByName("number", number);
    orders.GetFieldValueByName("total", total);
    std::printf("%s %s is cancelled\n", number, total);
    orders.SetIntFieldValueByName("total", 0);
  }
  const int code = orders.WriteTheBlock();
  orders.Close();  // before the connection is closed
  return code == TVL_OK ? 0 : Complain(table, code);
}
