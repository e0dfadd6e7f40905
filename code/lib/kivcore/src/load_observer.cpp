#include "kivcore/load_observer.h"

namespace kivcore {

load_observer::~load_observer() = default;

void load_observer::passed_over(std::string const& /*directory*/, std::string const& /*reason*/) {}

void load_observer::loaded(std::string const& /*directory*/) {}

void load_observer::failed(std::string const& /*directory*/, std::string const& /*reason*/) {}

void load_observer::registered(std::string const& /*directory*/, std::string const& /*id*/) {}

void load_observer::replaced(std::string const& /*directory*/, std::string const& /*id*/,
                             std::string const& /*previous_directory*/) {}

void load_observer::refused(std::string const& /*directory*/, std::string const& /*id*/,
                            std::string const& /*holder_directory*/,
                            std::string const& /*reason*/) {}

void load_observer::xml_report(std::string const& /*directory*/, int /*severity*/,
                               std::string const& /*message*/, int /*line*/, int /*column*/) {}

}  // namespace kivcore
