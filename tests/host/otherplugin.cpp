#include <QObject>

class OtherPlugin : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "example.other/1.0")
};

#include "otherplugin.moc"
