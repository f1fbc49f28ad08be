// Text to a QR symbol, and the symbol to a BMP picture.
//
// generateQRCode() encodes the text's local 8-bit bytes in the smallest
// symbol that holds them, at the lowest error-correction level, and keeps
// the module matrix (one byte per module, bit 0 set for a dark one). The
// save functions render it with each module a square of `scale` pixels:
// 1 bit per pixel (dark modules black, rows top-down, the printer's own
// raster format) or 24 bits per pixel.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class MGenerateQRCode : public QObject
{
    Q_OBJECT
public:
    explicit MGenerateQRCode(QObject *parent = nullptr);

    bool generateQRCode(QString text);
    bool saveToBMP1(QString file, int scale);
    // The 1-bit BMP of `text` as bytes; `size` gets their number, `ok`
    // whether the text could be encoded.
    QByteArray getBmpCode1(QString text, int scale, int *size, bool *ok);
    bool getBmpFile1(QString text, int scale, QString file);
    bool saveToBMP24(QString file, int scale);
    static int exp2(int n);

    int width() const { return symbolWidth; }
    int version() const { return symbolVersion; }
    QByteArray modules() const { return moduleData; }

private:
    // The 1-bit picture; false without memory for it.
    bool buildBMP1(int scale, QByteArray *bmp) const;
    bool buildBMP24(int scale, QByteArray *bmp) const;
    bool dark(int x, int y) const;

    QByteArray moduleData;
    int encodeLevel = 0; // QR_ECLEVEL_L
    int encodeHint = 2; // QR_MODE_8
    int symbolWidth = 0;
    int symbolVersion = 0;
};
