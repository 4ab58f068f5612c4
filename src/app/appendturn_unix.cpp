#include "app/appendturn.h"

// The system puts each write to a file that is open for appending to its end, as a whole.

AppendTurn::AppendTurn(QFile &file) : m_file(file) {}

AppendTurn::~AppendTurn() = default;
