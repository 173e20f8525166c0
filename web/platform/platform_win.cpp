#include "platform.h"

#include <QDir>
#include <QSaveFile>
#include <QStandardPaths>

#include <cstdio>

#include <windows.h>

#include <objbase.h>
#include <shellapi.h>
#include <tlhelp32.h>
#include <wincrypt.h>

namespace {
// A console takes UTF-16 whatever its code page; a pipe or file gets UTF-8, as on Linux.
void write(DWORD which, std::FILE *stream, const QString &text)
{
    const HANDLE handle = GetStdHandle(which);
    DWORD mode = 0;
    if (handle && handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode)) {
        DWORD written = 0;
        WriteConsoleW(handle, reinterpret_cast<const wchar_t *>(text.utf16()), DWORD(text.size()), &written,
                      nullptr);
        return;
    }
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stream);
    std::fflush(stream);
}
} // namespace

// OpenSSL knows nothing of Windows' certificate store, which Windows Update keeps current: the
// store's root certificates are written out as PEM, by Windows' own encoder, at every start.
QString platform::systemCaFile(QString *problem)
{
    HCERTSTORE store = CertOpenSystemStoreW(0, L"ROOT");
    if (!store) {
        *problem =
            QStringLiteral("Windows' certificate store cannot be opened (error %1)").arg(GetLastError());
        return QString();
    }
    QByteArray pem;
    int count = 0;
    for (PCCERT_CONTEXT cert = CertEnumCertificatesInStore(store, nullptr); cert;
         cert = CertEnumCertificatesInStore(store, cert)) {
        DWORD size = 0;
        if (!CryptBinaryToStringA(cert->pbCertEncoded, cert->cbCertEncoded, CRYPT_STRING_BASE64HEADER,
                                  nullptr, &size))
            continue;
        QByteArray text(int(size), '\0');
        if (CryptBinaryToStringA(cert->pbCertEncoded, cert->cbCertEncoded, CRYPT_STRING_BASE64HEADER,
                                 text.data(), &size)) {
            pem += text.left(int(size));
            ++count;
        }
    }
    CertCloseStore(store, 0);
    if (count == 0) {
        *problem = QStringLiteral("Windows' certificate store holds no root certificate");
        return QString();
    }
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    QDir().mkpath(folder);
    QSaveFile file(folder + QStringLiteral("/windows-roots.pem"));
    if (!file.open(QIODevice::WriteOnly) || file.write(pem) != pem.size() || !file.commit()) {
        *problem = QStringLiteral("cannot write %1: %2").arg(file.fileName(), file.errorString());
        return QString();
    }
    return file.fileName();
}

void platform::writeOut(const QString &text)
{
    write(STD_OUTPUT_HANDLE, stdout, text);
}

void platform::writeError(const QString &text)
{
    write(STD_ERROR_HANDLE, stderr, text);
}

// ShellExecuteW may hand the address to a shell extension, which wants COM on the calling thread;
// it returns a value above 32 only when a program took the address.
bool platform::openInBrowser(const QString &url)
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    const auto result = reinterpret_cast<INT_PTR>(ShellExecuteW(
        nullptr, L"open", reinterpret_cast<const wchar_t *>(url.utf16()), nullptr, nullptr, SW_SHOWNORMAL));
    return result > 32;
}

bool platform::kvBeaconRunning()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return false;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    bool found = false;
    for (BOOL more = Process32FirstW(snapshot, &entry); more && !found;
         more = Process32NextW(snapshot, &entry))
        found = _wcsicmp(entry.szExeFile, L"kvbeacon.exe") == 0;
    CloseHandle(snapshot);
    return found;
}

// Winsock's sockets are no C runtime files and have no such limit.
long platform::raiseFileLimit()
{
    return 0;
}

bool platform::othersMayRead(const QString &)
{
    return false;
}
