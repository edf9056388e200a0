#include <sqlite3.h>
