#include "platform/linux/QtMicrophone.h"

#include "core/Sentences.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSource>
#include <QIODevice>
#include <QMediaDevices>

namespace pelix::platform {
namespace {

QString describe(QAudio::Error error) {
    switch (error) {
        case QAudio::OpenError:
            return core::sentences::kInputDeviceNotOpened;
        case QAudio::IOError:
            return core::sentences::kInputDeviceStopped;
        case QAudio::UnderrunError:
        case QAudio::FatalError:
            return core::sentences::kSoundServerFailed;
        case QAudio::NoError:
            break;
    }
    return {};
}

}  // namespace

QtMicrophone::QtMicrophone() = default;

QtMicrophone::~QtMicrophone() {
    stop();
}

bool QtMicrophone::present() {
    return !QMediaDevices::audioInputs().isEmpty();
}

Status QtMicrophone::start(int sampleRate, Samples samples) {
    stop();
    const QAudioDevice input = QMediaDevices::defaultAudioInput();
    if (input.isNull()) return fail(1, core::sentences::kNoMicrophone);
    QAudioFormat format;
    format.setSampleRate(sampleRate);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    auto source = std::make_unique<QAudioSource>(input, format);
    // The buffer size becomes the sound server's fragment size: how much sound it gathers before
    // handing it over. A hundredth of a second keeps a recogniser close behind the voice (a tenth
    // delivered the first loud sample 80-170 ms after it was played into the microphone, a
    // hundredth 5-20 ms).
    source->setBufferSize(sampleRate / 100 * 2);
    QIODevice* device = source->start();
    if (!device || source->error() != QAudio::NoError) {
        const QString why = describe(source->error());
        return fail(2, why.isEmpty() ? QString(core::sentences::kInputDeviceNotOpened) : why);
    }
    source_ = std::move(source);
    device_ = device;
    samples_ = std::move(samples);
    QObject::connect(device_, &QIODevice::readyRead, [this] { pull(); });
    return {};
}

void QtMicrophone::pull() {
    if (!device_) return;
    const QByteArray pcm = device_->readAll();
    if (!pcm.isEmpty() && samples_) samples_(pcm);
}

void QtMicrophone::stop() {
    if (!source_) return;
    pull();
    source_->stop();
    source_.reset();
    device_ = nullptr;
    samples_ = nullptr;
}

}  // namespace pelix::platform
