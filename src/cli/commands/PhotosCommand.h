#pragma once

#include "Command.h"

// `tivaro photos --ipod PATH`: the photos of an iPod's photo database with their stored images, and
// its albums; `--export DIR` writes the images as TIFF files.
class PhotosCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("photos")}; }
    QString summary() const override { return QStringLiteral("Show the photos and albums on an iPod"); }
    int run(const QStringList &arguments, Console &console) override;
};
