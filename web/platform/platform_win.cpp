#include "platform.h"

#include <QDir>
#include <QSaveFile>
#include <QStandardPaths>

#include <windows.h>

#include <shellapi.h>
#include <wincrypt.h>

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

void platform::prepareConsole()
{
    SetConsoleOutputCP(CP_UTF8);
}

bool platform::openInBrowser(const QString &url)
{
    const auto result = reinterpret_cast<INT_PTR>(ShellExecuteW(
        nullptr, L"open", reinterpret_cast<const wchar_t *>(url.utf16()), nullptr, nullptr, SW_SHOWNORMAL));
    return result > 32;
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
