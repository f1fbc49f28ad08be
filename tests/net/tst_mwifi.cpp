#include <QtTest>
class TestMWiFi : public QObject { Q_OBJECT };
QTEST_GUILESS_MAIN(TestMWiFi)
#include "tst_mwifi.moc"
