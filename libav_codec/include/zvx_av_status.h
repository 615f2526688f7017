#ifndef ZVX_AV_STATUS_H
#define ZVX_AV_STATUS_H

#include <string>

namespace zvx_av {

/* Outcome of a call: success, or a negative AVERROR code as libav reports it (no exceptions here). */
class [[nodiscard]] Status {
public:
    Status() = default;
    explicit Status(int av_error) : code_(av_error < 0 ? av_error : 0) {}

    bool ok() const { return code_ == 0; }
    int code() const { return code_; }
    std::string message() const;

private:
    int code_ = 0;
};

} // namespace zvx_av

#endif
