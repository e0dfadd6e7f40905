// Every public header of the plug-in framework.

#ifndef KIVCORE_KIVCORE_H
#define KIVCORE_KIVCORE_H

#include <kivcore/browser.h>
#include <kivcore/c_file.h>
#include <kivcore/c_file_api.h>
#include <kivcore/factory.h>
#include <kivcore/frame_reader.h>
#include <kivcore/instance.h>
#include <kivcore/load_observer.h>
#include <kivcore/loader.h>
#include <kivcore/monitor.h>
#include <kivcore/multi_file_reader.h>
#include <kivcore/plugin.h>
#include <kivcore/plugins.h>
#include <kivcore/property.h>
#include <kivcore/reader.h>
#include <kivcore/writer.h>

#endif
