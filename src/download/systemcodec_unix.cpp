#include "download/systemcodec.h"

#include <QTextCodec>

QTextCodec *systemCodec()
{
    return QTextCodec::codecForLocale();
}
