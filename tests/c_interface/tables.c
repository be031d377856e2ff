/* Tables and record sets. */

#include <stdio.h>

#include "support.h"

#define SCHEMA "customer-D8 total-F7.2"

static void add_order(tvlc_records* records, const char* key1, const char* key2, const char* customer,
                      const char* total) {
  size_t row = 99;
  CHECK_OK(tvlc_records_add(records, key1, key2, NULL, 0, &row));
  CHECK_OK(tvlc_records_set_text(records, row, "customer", customer));
  CHECK_OK(tvlc_records_set_text(records, row, "TOTAL", total));
}

static size_t read_rows(tvlc_table* table, int key_number, int by_prefix, const char* key,
                        tvlc_records* records) {
  size_t count = 99;
  CHECK_OK(tvlc_table_read(table, key_number, by_prefix, key != NULL ? &key : NULL, key != NULL, records));
  CHECK_OK(tvlc_records_count(records, &count));
  return count;
}

static void test_fields(tvlc_table* table, size_t length) {
  static const char* const bad[] = {"", "-", "1.", ".5", "x", "12345678", "1.234"};
  tvlc_records* records = NULL;
  tvlc_field field;
  char text[200];
  int64_t number = 0;
  size_t count = 0;
  size_t at;
  CLEAR(field);
  CHECK_CODE(TVL_ERR_RS_FORMAT, tvlc_records_new(table, "customer-D80", &records));
  CHECK_OK(tvlc_records_new(table, SCHEMA, &records));
  CHECK_OK(tvlc_records_field_count(records, &count));
  CHECK(count == 2);
  CHECK_OK(tvlc_records_field(records, 1, &field));
  CHECK_TEXT("TOTAL", field.name);
  CHECK(field.type == 'F' && field.length == 7 && field.decimals == 2 && field.offset == 8);
  CHECK(field.offset + field.bytes == length);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_field(records, 2, &field));
  add_order(records, "K1", NULL, "", "0");
  for (at = 0; at < sizeof bad / sizeof *bad; ++at)
    CHECK_CODE(TVL_ERR_RS_FORMAT, tvlc_records_set_text(records, 0, "total", bad[at]));
  CHECK_CODE(TVL_ERR_RS_FORMAT, tvlc_records_set_text(records, 0, "customer", "nine byte"));
  CHECK_OK(tvlc_records_set_text(records, 0, "total", "-123456.78"));
  CHECK_OK(tvlc_records_get_integer(records, 0, "total", &number));
  CHECK(number == -123456);
  CHECK_OK(tvlc_records_set_integer(records, 0, "total", 42));
  CHECK_OK(tvlc_records_get_text(records, 0, "total", text, sizeof text));
  CHECK_TEXT("42", text);
  CHECK_CODE(TVL_ERR_RS_FORMAT, tvlc_records_set_integer(records, 0, "total", 99999999));
  CHECK_OK(tvlc_records_set_text(records, 0, "customer", "Rossi"));
  CHECK_CODE(TVL_ERR_RS_FORMAT, tvlc_records_get_integer(records, 0, "customer", &number));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_get_text(records, 0, "none", text, sizeof text));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_get_text(records, 0, "customer", text, 5));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_get_text(records, 1, "total", text, sizeof text));
  CHECK_OK(tvlc_records_key(records, 0, 1, text, sizeof text));
  CHECK_TEXT("K1", text);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_key(records, 0, 3, text, sizeof text));
  CHECK_OK(tvlc_records_bytes(records, 0, text, length));
  CHECK(memcmp(text, "Rossi   ", 8) == 0);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_bytes(records, 0, text, length - 1));
  CHECK_OK(tvlc_records_clear(records));
  CHECK_OK(tvlc_records_count(records, &count));
  CHECK(count == 0);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_add(records, "", NULL, NULL, 0, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_add(records, "seven b", NULL, NULL, 0, NULL));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_records_add(records, "K2", NULL, text, length - 1, NULL));
  CHECK_OK(tvlc_records_add(records, "K2", NULL, text, length, NULL));
  CHECK_OK(tvlc_records_close(records));
}

static void test_rows(tvlc_table* table) {
  static const char* const gone[] = {"A1", "none"};
  const char* key;
  tvlc_records* records = NULL;
  char text[64];
  int at;
  CHECK_OK(tvlc_records_new(table, SCHEMA, &records));
  add_order(records, "A1", "x", "Rossi", "1.50");
  add_order(records, "A2", "y", "Bianchi", "2");
  add_order(records, "B1", NULL, "Verdi", "3");
  CHECK_OK(tvlc_table_write(table, records));
  CHECK(read_rows(table, 1, 0, NULL, records) == 3);
  CHECK(read_rows(table, 1, 1, "A", records) == 2);
  CHECK(read_rows(table, 1, 0, "A", records) == 0);
  CHECK(read_rows(table, 2, 0, "y", records) == 1);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_table_write(table, records)); /* key 1 is blank */
  CHECK(read_rows(table, 1, 0, "A1", records) == 1);
  CHECK_OK(tvlc_records_get_text(records, 0, "total", text, sizeof text));
  CHECK_TEXT("1.50", text);
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_table_read(table, 3, 0, NULL, 0, records));
  CHECK_CODE(TVL_ERR_RS_DELETE, tvlc_table_delete(table, 0, gone, 2));
  CHECK(read_rows(table, 1, 0, NULL, records) == 2);
  key = "A2 is longer than a key";
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_table_delete(table, 0, &key, 1));
  key = "A";
  CHECK_OK(tvlc_table_delete(table, 1, &key, 1));
  CHECK(read_rows(table, 1, 0, NULL, records) == 1);

  /* More keys than one read list takes. */
  CHECK_OK(tvlc_records_clear(records));
  for (at = 0; at < 300; ++at) {
    snprintf(text, sizeof text, "C%05d", at);
    add_order(records, text, NULL, "many", "1");
  }
  CHECK_OK(tvlc_table_write(table, records));
  {
    static char keys[300][8];
    const char* pointers[300];
    size_t count = 0;
    for (at = 0; at < 300; ++at) {
      snprintf(keys[at], sizeof keys[at], "C%05d", at);
      pointers[at] = keys[at];
    }
    CHECK_OK(tvlc_table_read(table, 1, 0, pointers, 300, records));
    CHECK_OK(tvlc_records_count(records, &count));
    CHECK(count == 300);
  }
  CHECK_OK(tvlc_records_close(records));
}

void test_tables(void) {
  tvlc_store* store = open_store();
  tvlc_table* table = NULL;
  tvlc_table* again = NULL;
  tvlc_records* records = NULL;
  tvlc_table_info info;
  size_t length = 0;
  CLEAR(info);
  CHECK_OK(tvlc_schema_length(SCHEMA, &length));
  CHECK_CODE(TVL_ERR_RS_FORMAT, tvlc_schema_length("total-X7", &length));
  CHECK_CODE(TVL_ERR_SERVER_FILE, tvlc_table_open(store, "orders", &table));
  CHECK_CODE(TVL_ERR_ARGUMENT, tvlc_table_make(store, "orders", 0, 6, 4, 0, &table));
  CHECK_OK(tvlc_table_make(store, "orders", length, 6, 4, 0, &table));
  CHECK_CODE(TVL_ERR_DELETE_FILE, tvlc_table_make(store, "orders", length, 6, 4, 0, &again));
  CHECK_OK(tvlc_table_open(store, "orders", &again));
  CHECK_OK(tvlc_table_describe(again, &info));
  CHECK(info.record_length == length && info.key1_length == 6 && info.key2_length == 4);
  test_fields(table, length);
  test_rows(table);
  CHECK_OK(tvlc_records_new(again, NULL, &records));
  CHECK(read_rows(again, 1, 1, "B", records) == 1);
  CHECK_OK(tvlc_table_close(again));
  CHECK_OK(tvlc_close(store));
  CHECK_CODE(TVL_ERR_NOT_CONNECTED, tvlc_table_read(table, 1, 0, NULL, 0, records));
  CHECK_OK(tvlc_table_close(table));
  CHECK_OK(tvlc_records_close(records));
}
