#include "zvx_dev_engine.h"

#include "zvx_dev_pattern_engine.h"

namespace zvx_dev {

std::unique_ptr<Engine> make_engine(zvx_dev_engine kind, const EngineSetting &setting)
{
    switch (kind) {
    case zvx_dev_engine::pattern:
        return std::make_unique<PatternEngine>(setting);
    case zvx_dev_engine::libav:
        break;
    }
    return nullptr;
}

} // namespace zvx_dev
