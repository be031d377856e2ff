#include <iterator>

#include <tvlclient/functions.h>

namespace {

struct ErrorText {
  int code;
  const char* text;
};

// Latin-1: 0xE0 is an a with a grave accent.
constexpr ErrorText kErrorTexts[] = {
    {TVL_OK, "Operazione corretta"},
    {TVL_ERR_NOT_SUPPORTED, "Operazione non supportata"},
    {TVL_ERR_NO_CONFIG, "Configrazione non presente"},
    {TVL_ERR_ROOT_UNDEFINED, "Cartella root dei documenti non definita"},
    {TVL_ERR_ROOT_INVALID, "Cartella root dei documenti non valida"},
    {TVL_ERR_TMP_UNDEFINED, "Cartella dei file temporanei non definita"},
    {TVL_ERR_TMP_INVALID, "Cartella dei file temporanei non valida"},
    {TVL_ERR_CONFIG_INVALID, "Configurazione non valida"},
    {TVL_ERR_NOT_CONNECTED, "Connessione non stabilita"},
    {TVL_ERR_ALREADY_CONNECTED, "Connessione gi\xE0 stabilita"},
    {TVL_ERR_TCP_CONNECT, "Connessione TCP non valida"},
    {TVL_ERR_TCP_SEND, "Invio dati TCP non valido"},
    {TVL_ERR_TCP_RECEIVE, "Ricezione dati TCP non valido"},
    {TVL_ERR_BAD_PATH, "Nome percorso file non valido"},
    {TVL_ERR_IN_CACHE, "Oggetto presente in cache"},
    {TVL_ERR_SERVER_FILE, "File su server non accessibile"},
    {TVL_ERR_LOCAL_FILE, "File locale non accessibile"},
    {TVL_ERR_COPY, "Operazione di copia non valida"},
    {TVL_ERR_DELETE_FILE, "Impossibile cancellare file su server"},
    {TVL_ERR_DELETE_DIR, "Impossibile cancellare directory su server"},
    {TVL_ERR_ZIP, "Operazione di Zip non valida"},
    {TVL_ERR_UNZIP, "Operazione di Unzip non valida"},
    {TVL_ERR_RS_OPEN, "Apertura recordset fallita"},
    {TVL_ERR_RS_ALREADY_OPEN, "Recordset gi\xE0 aperto"},
    {TVL_ERR_RS_FORMAT, "Formato recordset non valido"},
    {TVL_ERR_RS_READ, "Lettura recordset non valida"},
    {TVL_ERR_RS_WRITE, "Scrittura recordset non valida"},
    {TVL_ERR_RS_DELETE, "Cancellazione recordset non valida"},
};
static_assert(std::size(kErrorTexts) == 28);

constexpr char kUnknown[] = "Errore sconosciuto";

const char* TextOf(int code) {
  for (const ErrorText& row : kErrorTexts) {
    if (row.code == code) return row.text;
  }
  return kUnknown;
}

}  // namespace

// The interface requires char*, although the texts are constant.
char* TVLGetErrorString(int code) {
  return const_cast<char*>(TextOf(code));
}

CString TVLFormatError(int code) {
  CString text;
  text.Format("%s [errore #%d]", TextOf(code), code);
  return text;
}
