#include "download/systemcodec.h"

#include <QTextCodec>

#include <windows.h>

namespace freshen {

namespace {

/// The page that the system's language comes with. The process's own is UTF-8 from Windows 10 1903 on, as its
/// manifest says.
UINT systemCodePage()
{
    DWORD page = CP_ACP;
    GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER,
                   reinterpret_cast<wchar_t *>(&page), sizeof(page) / sizeof(wchar_t));
    return page;
}

/// Converts by the system's functions; Qt's own codecs know some of the pages only.
class SystemCodec : public QTextCodec
{
public:
    [[nodiscard]] QByteArray name() const override
    {
        return "Freshen system code page";
    }
    [[nodiscard]] int mibEnum() const override
    {
        // Registered character sets have positive numbers.
        return -1;
    }

protected:
    QString convertToUnicode(const char *bytes, int length, ConverterState * /*state*/) const override
    {
        // A character of the page is one UTF-16 unit at most for each of its bytes.
        QString text(length, Qt::Uninitialized);
        const int size =
            MultiByteToWideChar(m_page, 0, bytes, length, reinterpret_cast<wchar_t *>(text.data()), text.size());
        text.resize(size);
        return text;
    }
    QByteArray convertFromUnicode(const QChar *text, int length, ConverterState * /*state*/) const override
    {
        const auto *wide = reinterpret_cast<const wchar_t *>(text);
        const int size = WideCharToMultiByte(m_page, 0, wide, length, nullptr, 0, nullptr, nullptr);
        QByteArray bytes(size, Qt::Uninitialized);
        WideCharToMultiByte(m_page, 0, wide, length, bytes.data(), size, nullptr, nullptr);
        return bytes;
    }

private:
    const UINT m_page = systemCodePage();
};

} // namespace

QTextCodec *systemCodec()
{
    // Qt owns every codec and deletes it at the end.
    static auto *const codec = new SystemCodec;
    return codec;
}

} // namespace freshen
