/* Writes rows of a keyed table, and reads and changes those whose key begins with a prefix.

   Usage: orders_table CONFIG */

#include <stdio.h>

#include <tvlclient/tvlc.h>

/* A text of 8 bytes, and a number of 7 digits before the point and 2 after it. */
static const char kSchema[] = "number-D8 total-F7.2";
enum { KEY_LENGTH = 8 };

struct order {
  const char* number;
  const char* total;
};
static const struct order kOrders[] = {{"A1", "12.50"}, {"A2", "7.00"}, {"B1", "-3.20"}};

static int open_or_make(tvlc_store* store, const char* name, tvlc_table** table) {
  size_t length = 0;
  int code = tvlc_table_open(store, name, table);
  if (code == TVL_OK) return code;
  code = tvlc_schema_length(kSchema, &length);
  return code == TVL_OK ? tvlc_table_make(store, name, length, KEY_LENGTH, 0, 0, table) : code;
}

static int write_orders(tvlc_table* table, tvlc_records* orders) {
  for (size_t i = 0; i < sizeof kOrders / sizeof *kOrders; ++i) {
    size_t row = 0;
    int code = tvlc_records_add(orders, kOrders[i].number, NULL, NULL, 0, &row);
    if (code == TVL_OK) code = tvlc_records_set_text(orders, row, "number", kOrders[i].number);
    if (code == TVL_OK) code = tvlc_records_set_text(orders, row, "total", kOrders[i].total);
    if (code != TVL_OK) return code;
  }
  return tvlc_table_write(table, orders);
}

/* Sets the totals of the orders with a prefix to 0. */
static int cancel_orders(tvlc_table* table, tvlc_records* orders, const char* prefix) {
  size_t count = 0;
  int code = tvlc_table_read(table, 1, 1, &prefix, 1, orders);
  if (code == TVL_OK) code = tvlc_records_count(orders, &count);
  for (size_t row = 0; row < count && code == TVL_OK; ++row) {
    char number[KEY_LENGTH + 1] = "";
    char total[128] = "";
    code = tvlc_records_get_text(orders, row, "number", number, sizeof number);
    if (code == TVL_OK) code = tvlc_records_get_text(orders, row, "total", total, sizeof total);
    if (code == TVL_OK) code = tvlc_records_set_integer(orders, row, "total", 0);
    if (code == TVL_OK) printf("%s %s is cancelled\n", number, total);
  }
  return code == TVL_OK ? tvlc_table_write(table, orders) : code;
}

int main(int argc, char** argv) {
  tvlc_error error = {.size = sizeof error};
  tvlc_store* store = NULL;
  tvlc_table* table = NULL;
  tvlc_records* orders = NULL;
  int code;

  if (argc != 2) {
    fprintf(stderr, "usage: %s CONFIG\n", argv[0]);
    return 2;
  }
  /* Tables need no working directory. */
  if (tvlc_open_directory(&store, argv[1], NULL, "demo", &error) != TVL_OK) {
    fprintf(stderr, "%s: %s\n", argv[1], error.text);
    return 1;
  }
  code = open_or_make(store, "orders.dat", &table);
  if (code == TVL_OK) code = tvlc_records_new(table, kSchema, &orders);
  if (code == TVL_OK) code = write_orders(table, orders);
  if (code == TVL_OK) code = cancel_orders(table, orders, "A");
  if (code != TVL_OK) {
    tvlc_last_error(store, &error);
    fprintf(stderr, "orders.dat: %s\n", error.text);
  }
  tvlc_records_close(orders);
  tvlc_table_close(table);
  tvlc_close(store);
  return code == TVL_OK ? 0 : 1;
}
