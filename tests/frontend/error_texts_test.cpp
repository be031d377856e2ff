#include <gtest/gtest.h>

#include <map>
#include <string>

#include <tvlclient/functions.h>

namespace {

TEST(ErrorTexts, MatchTheirCodes) {
  const std::map<int, std::string> texts = {
      {0, "Operazione corretta"},
      {1, "Operazione non supportata"},
      {2, "Configrazione non presente"},
      {3, "Cartella root dei documenti non definita"},
      {4, "Cartella root dei documenti non valida"},
      {5, "Cartella dei file temporanei non definita"},
      {6, "Cartella dei file temporanei non valida"},
      {7, "Configurazione non valida"},
      {8, "Connessione non stabilita"},
      {9, "Connessione gi\340 stabilita"},
      {10, "Connessione TCP non valida"},
      {11, "Invio dati TCP non valido"},
      {12, "Ricezione dati TCP non valido"},
      {18, "Nome percorso file non valido"},
      {19, "Oggetto presente in cache"},
      {20, "File su server non accessibile"},
      {21, "File locale non accessibile"},
      {22, "Operazione di copia non valida"},
      {23, "Impossibile cancellare file su server"},
      {24, "Impossibile cancellare directory su server"},
      {27, "Operazione di Zip non valida"},
      {28, "Operazione di Unzip non valida"},
      {30, "Apertura recordset fallita"},
      {31, "Recordset gi\340 aperto"},
      {32, "Formato recordset non valido"},
      {33, "Lettura recordset non valida"},
      {34, "Scrittura recordset non valida"},
      {35, "Cancellazione recordset non valida"},
  };
  for (int code = -100; code < 300; ++code) {
    const auto row = texts.find(code);
    const std::string text = row == texts.end() ? "Errore sconosciuto" : row->second;
    EXPECT_EQ(TVLGetErrorString(code), text) << code;
    EXPECT_EQ(text + " [errore #" + std::to_string(code) + "]", TVLFormatError(code).GetString());
  }
  EXPECT_STREQ(TVLFormatError(-2147483647 - 1), "Errore sconosciuto [errore #-2147483648]");
}

}  // namespace
