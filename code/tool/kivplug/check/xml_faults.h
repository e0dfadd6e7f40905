// Why a description is not XML that the library reads.

#ifndef KIVPLUG_CHECK_XML_FAULTS_H
#define KIVPLUG_CHECK_XML_FAULTS_H

#include "reading.h"
#include "reporter.h"

namespace kivplug {

// Reports the one thing for which the XML library, or the reader's limits, refused the document.
void report_xml_fault(reading const& read, utf8_copy const& copy, reporter& to);

}  // namespace kivplug

#endif
