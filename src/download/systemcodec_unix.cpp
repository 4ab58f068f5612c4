#include "download/systemcodec.h"

#include <QTextCodec>

namespace freshen {

QTextCodec *systemCodec()
{
    return QTextCodec::codecForLocale();
}

} // namespace freshen
