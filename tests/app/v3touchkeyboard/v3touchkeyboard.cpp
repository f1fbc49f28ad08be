// The smallest on-screen keyboard plugin a start-up can load: an input
// context named "V3TouchKeyboard" that does nothing.
#include <qpa/qplatforminputcontext.h>
#include <qpa/qplatforminputcontextplugin_p.h>

class V3TouchKeyboardContext : public QPlatformInputContext
{
public:
    bool isValid() const override { return true; }
};

class V3TouchKeyboardPlugin : public QPlatformInputContextPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QPlatformInputContextFactoryInterface_iid FILE "v3touchkeyboard.json")
public:
    QPlatformInputContext *create(const QString &key, const QStringList &) override
    {
        // The factory hands over the key as the loader keeps it, in lower case.
        return key.compare(QLatin1String("V3TouchKeyboard"), Qt::CaseInsensitive) == 0 ? new V3TouchKeyboardContext
                                                                                       : nullptr;
    }
};

#include "v3touchkeyboard.moc"
