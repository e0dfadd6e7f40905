// Readers and writers. Results of plug-ins are passed on: negative ones become exceptions in
// Python, where the path is known.

#include <algorithm>
#include <climits>
#include <utility>
#include <vector>

#include <kivcore/frame_reader.h>
#include <kivcore/multi_file_reader.h>
#include <kivcore/reader.h>
#include <kivcore/writer.h>
#include <morbase/text.h>
#include <morbase/whence.h>

#include "object.h"
#include "text.h"

namespace binding {

namespace {

using kivcore::frame_reader;
using record = morbase::ptr_refcount<frame_reader::media_information>;

// The memory of a bytes-like object.
class memory {
  public:
    // flags: PyBUF_WRITABLE to write to it, PyBUF_SIMPLE to read from it.
    memory(py::handle from, int flags) {
        if (PyObject_GetBuffer(from.ptr(), &view, flags) != 0) {
            py::raise_from(PyExc_TypeError,
                           flags == PyBUF_WRITABLE
                               ? "a writable and contiguous bytes-like object is required"
                               : "a contiguous bytes-like object is required");
            throw py::error_already_set();
        }
    }
    ~memory() { PyBuffer_Release(&view); }
    memory(memory const&) = delete;
    memory& operator=(memory const&) = delete;

    void* data() const noexcept { return view.buf; }
    unsigned long long size() const noexcept { return static_cast<unsigned long long>(view.len); }

  private:
    Py_buffer view{};
};

// Raises a PluginError for a count that cannot be true.
long long checked_count(long long count, unsigned long long most) {
    if (count > 0 && static_cast<unsigned long long>(count) > most) {
        throw std::runtime_error("reported " + std::to_string(count) + " bytes where " +
                                 std::to_string(most) +
                                 " is the most; the plug-in is faulty, report it to its developer");
    }
    return count;
}

// What readers and writers have in common.
template <typename stream_type>
class stream {
  public:
    explicit stream(std::shared_ptr<object> of)
        : of_plugin(std::move(of)), opened(of_plugin->as<stream_type>()) {}

    long long open(std::string const& path, std::string const& mode) {
        return held().call_to_open("open", [&] { return target().open(path, mode); });
    }

    // Closing a closed stream does nothing.
    long long close() {
        return held().call_to_close("close", [&] { return target().close(); });
    }

    bool closed() const { return !held().is_open(); }

    long long seek(long long offset, int whence) {
        return held().call_open(
            "seek", [&] { return target().seek(offset, static_cast<morbase::whence>(whence)); });
    }

    long long tell() {
        return held().call_open("tell", [&] { return target().tell(); });
    }

    long long size() {
        return held().call_open("size", [&] { return target().size(); });
    }

  protected:
    object& held() const noexcept { return *of_plugin; }
    stream_type& target() const noexcept { return opened; }

  private:
    std::shared_ptr<object> const of_plugin;
    stream_type& opened;
};

class reader : public stream<kivcore::reader> {
  public:
    using stream::stream;

    long long readinto(py::handle into) {
        memory const buffer(into, PyBUF_WRITABLE);
        return held().call_open("read", [&] {
            return checked_count(target().read(buffer.data(), buffer.size()), buffer.size());
        });
    }
};

class writer : public stream<kivcore::writer> {
  public:
    using stream::stream;

    long long write(py::handle from) {
        memory const buffer(from, PyBUF_SIMPLE);
        return held().call_open("write", [&] {
            return checked_count(target().write(buffer.data(), buffer.size()), buffer.size());
        });
    }

    long long flush() {
        return held().call_open("flush", [&] { return target().flush(); });
    }
};

class file_sequence : public reader {
  public:
    explicit file_sequence(std::shared_ptr<object> const& of)
        : reader(of), sequence(held().as<kivcore::multi_file_reader>()) {}

    // The path and the size of each file.
    py::list files() {
        auto const found = held().call_open("files", [&] {
            std::vector<std::pair<std::string, long long>> all(sequence.file_count());
            for (unsigned int index = 0; index < all.size(); ++index) {
                all[index] = {sequence.file_path(index), sequence.file_size(index)};
            }
            return all;
        });
        py::list files;
        for (auto const& [path, size] : found) {
            files.append(py::make_tuple(path_text(path), size));
        }
        return files;
    }

    unsigned int current_file() {
        return held().call_open("current_file", [&] { return sequence.current_file(); });
    }

    long long select_file(unsigned int index) {
        return held().call_open("select_file", [&] { return sequence.select_file(index); });
    }

  private:
    kivcore::multi_file_reader& sequence;
};

// A track's record. The fields of the known kinds are copied: the record itself must not outlive
// the factory.
struct track_record {
    frame_reader::media_information::media_type type;
    std::string description;
    morbase::ptr_refcount<frame_reader::audio_media_information> audio;
    morbase::ptr_refcount<frame_reader::video_media_information> video;
};

template <typename media_type>
morbase::ptr_refcount<media_type> copy_if(frame_reader::media_information const& known) {
    auto const* const one = dynamic_cast<media_type const*>(&known);
    return one != nullptr ? new media_type(*one) : nullptr;
}

py::dict fields(frame_reader::audio_media_information const& audio) {
    py::dict known;
    known["track_format"] = morbase::string_with_fourcc(audio.track_format, '.');
    known["frame_data_size"] = audio.frame_data_size;
    known["number_of_frames"] = audio.number_of_frames;
    known["samples_per_frame"] = audio.samples_per_frame;
    known["total_samples"] = audio.total_samples;
    known["channels"] = audio.channels;
    known["bits_per_sample"] = audio.bits_per_sample;
    known["sample_rate"] = audio.sample_rate;
    known["offset_from_video"] = audio.offset_from_video;
    return known;
}

py::dict fields(frame_reader::video_media_information const& video) {
    py::dict known;
    known["track_format"] = morbase::string_with_fourcc(video.track_format, '.');
    known["frame_data_size"] = video.frame_data_size;
    known["number_of_frames"] = video.number_of_frames;
    known["framerate"] = video.framerate;
    known["start_timecode"] = morbase::string_with_timecode(video.start_timecode, true);
    known["pixel_width"] = video.pixel_width;
    known["pixel_height"] = video.pixel_height;
    known["pixel_aspect_ratio"] = video.pixel_aspect_ratio;
    known["field_order"] = video.field_order;
    return known;
}

class frames : public reader {
  public:
    explicit frames(std::shared_ptr<object> const& of)
        : reader(of), media(held().as<frame_reader>()) {}

    // The fields of each track; None for a track without a record.
    py::list tracks() {
        auto const records = held().call_open("track_information", [&] {
            std::vector<std::optional<track_record>> all;
            unsigned int const count = media.track_count();
            for (unsigned int track = 0; track < count; ++track) {
                all.push_back(record_of(track));
            }
            return all;
        });
        py::list list;
        for (auto const& known : records) {
            list.append(known ? py::object(dict_of(*known)) : py::none());
        }
        return list;
    }

    long long select_track(unsigned int track) {
        return held().call_open("select_track", [&] {
            next = 0;
            return media.select_track(track);
        });
    }

    // Reads the frame with this number of the selected track. Returns its bytes; 0 at the end.
    long long read_frame(long long index, py::handle into) {
        memory const buffer(into, PyBUF_WRITABLE);
        return held().call_open("read_frame", [&]() -> long long {
            long long const reached = index != next ? media.seek_frame(index) : index;
            if (reached < 0) {
                return reached;
            }
            if (reached != index) {
                throw std::runtime_error("frame " + std::to_string(index) +
                                         " was sought and frame " + std::to_string(reached) +
                                         " reached");
            }
            next = -1;  // unless the frame is read
            auto const got = media.read_frame(buffer.data(), buffer.size());
            next = got > 0 ? index + 1 : -1;
            return checked_count(got, buffer.size());
        });
    }

  private:
    std::optional<track_record> record_of(unsigned int track) {
        record const known = media.track_information(track);
        if (!known) {
            return {};
        }
        return track_record{known->type, known->describe(),
                            copy_if<frame_reader::audio_media_information>(*known),
                            copy_if<frame_reader::video_media_information>(*known)};
    }

    static py::dict dict_of(track_record const& known) {
        py::dict all;
        if (known.audio) {
            all = fields(*known.audio);
        } else if (known.video) {
            all = fields(*known.video);
        }
        all["type"] = frame_reader::media_information::media_type_to_c_str(known.type);
        all["description"] = text(known.description);
        return all;
    }

    frame_reader& media;
    long long next = 0;  // the frame that a read without a seek reads; -1 if it is not known
};

template <typename type, typename... base_type>
auto bind_stream(py::module_& module, char const* name, char const* about) {
    return py::class_<type, base_type...>(module, name, about)
        .def(py::init<std::shared_ptr<object>>());
}

template <typename type>
void bind_common(py::class_<type>& bound) {
    bound.def("open", &type::open)
        .def("close", &type::close)
        .def_property_readonly("closed", &type::closed)
        .def("seek", &type::seek)
        .def("tell", &type::tell)
        .def("size", &type::size);
}

}  // namespace

void bind_streams(py::module_& module) {
    auto readers = bind_stream<reader>(module, "Reader", "A reader of bytes.");
    bind_common(readers);
    readers.def("readinto", &reader::readinto);

    auto writers = bind_stream<writer>(module, "Writer", "A writer of bytes.");
    bind_common(writers);
    writers.def("write", &writer::write).def("flush", &writer::flush);

    bind_stream<file_sequence, reader>(module, "FileSequence", "A reader of files end to end.")
        .def("files", &file_sequence::files)
        .def("current_file", &file_sequence::current_file)
        .def("select_file", &file_sequence::select_file);

    bind_stream<frames, reader>(module, "FrameReader", "A reader of media by tracks and frames.")
        .def("tracks", &frames::tracks)
        .def("select_track", &frames::select_track)
        .def("read_frame", &frames::read_frame);
}

}  // namespace binding
