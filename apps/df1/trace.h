// Where --trace puts what goes over the line.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "failure.h"

#include "host/capture.h"
#include "host/frametext.h"

/// A trace on standard error, or in a capture file.
class Trace
{
public:
    /// @p target: "-" for standard error, otherwise a file, which is begun anew. Throws
    /// Failure when it can't be written.
    explicit Trace(const std::string& target);

    void take(const host::Sighting& sighting);
    /// What has gone wrong with writing, once; the trace ends there.
    std::optional<Failure> takeFailure();

private:
    void fail(const QString& text);

    std::unique_ptr<host::CaptureWriter> m_capture; // null: standard error
    host::Narrator m_narrator;
    bool m_hasEnded = false;
    std::optional<Failure> m_failure;
};
