#include "mgenerateqrcode.h"

#include <QDebug>
#include <QFile>
#include <QtEndian>

#include <qrencode.h>

#include <cstring>
#include <memory>
#include <new>

namespace {
void put16(unsigned char *p, quint16 v)
{
    qToLittleEndian(v, p);
}
void put32(unsigned char *p, quint32 v)
{
    qToLittleEndian(v, p);
}

// File header and information header of an uncompressed BMP, rows top-down
// (negative height).
void writeHeaders(unsigned char *h, int side, int bitsPerPixel, quint32 dataOffset, quint32 dataSize)
{
    h[0] = 'B';
    h[1] = 'M';
    put32(h + 2, dataOffset + dataSize);
    put32(h + 6, 0);
    put32(h + 10, dataOffset);
    put32(h + 14, 40);
    put32(h + 18, quint32(side));
    put32(h + 22, quint32(-side));
    put16(h + 26, 1);
    put16(h + 28, quint16(bitsPerPixel));
    put32(h + 30, 0); // no compression
    put32(h + 34, dataSize);
    put32(h + 38, 3780); // 96 dpi
    put32(h + 42, 3780);
    put32(h + 46, bitsPerPixel == 1 ? 2 : 0);
    put32(h + 50, 0);
}

bool writeFile(const QString &file, const QByteArray &data)
{
    QFile f(file);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return f.write(data) == data.size();
}
}

MGenerateQRCode::MGenerateQRCode(QObject *parent) : QObject(parent) {}

int MGenerateQRCode::exp2(int n)
{
    return 1 << n;
}

bool MGenerateQRCode::generateQRCode(QString text)
{
    const QByteArray bytes = text.toLocal8Bit();
    QRcode *code = QRcode_encodeString(bytes.constData(), 0, QRecLevel(encodeLevel), QRencodeMode(encodeHint), 1);
    if (!code)
        return false;
    symbolWidth = code->width;
    symbolVersion = code->version;
    moduleData = QByteArray(reinterpret_cast<const char *>(code->data), code->width * code->width);
    QRcode_free(code);
    return true;
}

bool MGenerateQRCode::dark(int x, int y) const
{
    return moduleData.at(y * symbolWidth + x) & 1;
}

bool MGenerateQRCode::buildBMP1(int scale, QByteArray *bmp) const
{
    const int side = symbolWidth * scale;
    const int stride = ((side + 31) / 8) & ~3;
    const size_t dataSize = size_t(stride) * size_t(side);
    std::unique_ptr<unsigned char[]> data(new (std::nothrow) unsigned char[dataSize + 62]);
    if (!data) {
        qDebug() << "Out of memory";
        return false;
    }
    std::memset(data.get(), 0, dataSize + 62);
    unsigned char *h = data.get();
    writeHeaders(h, side, 1, 62, quint32(dataSize));
    // Palette: index 0 white, index 1 black; a dark module sets its bits, as
    // a set bit is a burnt dot on the printer.
    put32(h + 54, 0x00FFFFFF);
    put32(h + 58, 0x00000000);
    unsigned char *pixels = h + 62;
    for (int my = 0; my < symbolWidth; ++my)
        for (int mx = 0; mx < symbolWidth; ++mx) {
            if (!dark(mx, my))
                continue;
            for (int y = my * scale; y < (my + 1) * scale; ++y)
                for (int x = mx * scale; x < (mx + 1) * scale; ++x)
                    pixels[y * stride + x / 8] |= static_cast<unsigned char>(exp2(7 - x % 8));
        }
    *bmp = QByteArray(reinterpret_cast<const char *>(h), int(dataSize + 62));
    return true;
}

bool MGenerateQRCode::buildBMP24(int scale, QByteArray *bmp) const
{
    const int side = symbolWidth * scale;
    const int stride = (side * 3 + 3) & ~3;
    const size_t dataSize = size_t(stride) * size_t(side);
    std::unique_ptr<unsigned char[]> data(new (std::nothrow) unsigned char[dataSize + 54]);
    if (!data) {
        qDebug() << "Out of memory";
        return false;
    }
    std::memset(data.get(), 0, dataSize + 54);
    unsigned char *h = data.get();
    writeHeaders(h, side, 24, 54, quint32(dataSize));
    unsigned char *pixels = h + 54;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const unsigned char v = dark(x / scale, y / scale) ? 0x00 : 0xFF;
            std::memset(pixels + y * stride + x * 3, v, 3);
        }
    *bmp = QByteArray(reinterpret_cast<const char *>(h), int(dataSize + 54));
    return true;
}

bool MGenerateQRCode::saveToBMP1(QString file, int scale)
{
    QByteArray bmp;
    return symbolWidth > 0 && scale > 0 && buildBMP1(scale, &bmp) && writeFile(file, bmp);
}

QByteArray MGenerateQRCode::getBmpCode1(QString text, int scale, int *size, bool *ok)
{
    QByteArray bmp;
    const bool done = scale > 0 && generateQRCode(text) && buildBMP1(scale, &bmp);
    if (size)
        *size = bmp.size();
    if (ok)
        *ok = done;
    return bmp;
}

bool MGenerateQRCode::getBmpFile1(QString text, int scale, QString file)
{
    return generateQRCode(text) && saveToBMP1(file, scale);
}

bool MGenerateQRCode::saveToBMP24(QString file, int scale)
{
    QByteArray bmp;
    return symbolWidth > 0 && scale > 0 && buildBMP24(scale, &bmp) && writeFile(file, bmp);
}
