#include "Applications/vrender/Options.h"

namespace vrender
{

namespace
{

const ArgumentRow kInput = {"IN", ValueKind::kFile,
                            "a media file, a still, a numbered sequence (name%05d.png), a made picture "
                            "(bars:, color:, counter:) or a "
                            "timeline (.otio, .otioz, .otiod)",
                            &Options::mInput, nullptr};
const ArgumentRow kOutput = {
    "OUT", ValueKind::kFile,
    "the file to write; '-' is standard output, null: throws the frames away, a name with %05d makes one "
    "still for each frame",
    &Options::mOutput, nullptr};
const ArgumentRow kStill = {"OUT", ValueKind::kFile, "the still to write; its suffix chooses the format",
                            &Options::mOutput, nullptr};
const ArgumentRow kFolder = {"DIR", ValueKind::kDirectory,
                             "the folder for the stills; made if it isn't there", &Options::mOutput, nullptr};
const ArgumentRow kAction = {
    "ACTION", ValueKind::kChoice,
    "list tells the frames that are kept, the one used longest ago first; verify reads them "
    "all and removes those that are damaged; clear removes them all",
    &Options::mAction, "list verify clear"};

const ArgumentRow kPluginAction = {"ACTION", ValueKind::kChoice,
                                   "list tells the effects, a line each; show tells all that is known of one",
                                   &Options::mAction, "list show"};
const ArgumentRow kEffect = {"ID",
                             ValueKind::kText,
                             "the effect to show, by its id or match name, such as vrender:gaussian-blur",
                             &Options::mOther,
                             nullptr,
                             true};

const ArgumentRow kFirst = {
    "A", ValueKind::kFile,
    "media, a still, a numbered sequence, a made picture, a timeline, or a folder of stills",
    &Options::mInput, nullptr};
const ArgumentRow kSecond = {"B", ValueKind::kFile, "what A is compared with", &Options::mOther, nullptr};

OptionRow Text(const char* inName, const char* inValue, std::uint32_t inCommands,
               std::string Options::*inText, const char* inHelp, ValueKind inKind = ValueKind::kText,
               const char* inChoices = nullptr)
{
    return {inName, 0, inValue, inHelp, inCommands, inKind, inChoices, inText, nullptr, nullptr};
}

OptionRow Switch(const char* inName, char inShort, std::uint32_t inCommands, bool Options::*inSwitch,
                 const char* inHelp)
{
    return {inName,           inShort, nullptr, inHelp,  inCommands,
            ValueKind::kText, nullptr, nullptr, nullptr, inSwitch};
}

OptionRow Choice(const char* inName, const char* inValue, std::uint32_t inCommands,
                 std::string Options::*inText, const char* inChoices, const char* inHelp)
{
    return Text(inName, inValue, inCommands, inText, inHelp, ValueKind::kChoice, inChoices);
}

OptionRow PulldownOption()
{
    OptionRow row =
        Choice("remove-pulldown", "PHASE|auto", kCommand_Media, &Options::mRemovePulldown,
               "auto WWSSW WSSWW SSWWW SWWWS WWWSS WWSWW WSWWW SWWWW WWWWS WWWSW",
               "Get the frames of a film back out of telecined video, four for five. A phase tells what the "
               "first five "
               "video frames are: W holds a film frame whole, S is split between two; two S are 2:3 "
               "pulldown, one is "
               "2:3:3:2. auto, which is meant where no phase follows, looks for it in the first 30 frames.");
    row.mBare = "auto";
    return row;
}

const ArgumentRow kDocument = {"IN", ValueKind::kFile, "a timeline (.otio, .otioz, .otiod)", &Options::mInput,
                               nullptr};

OptionRow List(const char* inName, const char* inValue, std::uint32_t inCommands,
               std::vector<std::string> Options::*inList, const char* inHelp, ValueKind inKind)
{
    return {inName, 0, inValue, inHelp, inCommands, inKind, nullptr, nullptr, inList, nullptr};
}

OptionRow EncoderOption()
{
    return {"option",
            'o',
            "KEY=VALUE",
            "An option of the encoder or the container, by FFmpeg's name for it. May be given several times.",
            kCommand_Render,
            ValueKind::kText,
            nullptr,
            nullptr,
            &Options::mEncoderOptions,
            nullptr};
}

} // namespace

const std::vector<CommandRow>& CommandTable()
{
    static const std::vector<CommandRow> sTable = {
        {kCommand_Render,
         "render",
         "Renders a range of frames into a movie, a sequence of stills or a pipe.",
         "Renders IN, or a range of it, into OUT. The suffix of OUT chooses the container (--format "
         "overrules "
         "it) and --codec the encoder. A file is written beside its place as OUT.part and gets its name when "
         "it is whole; a pipe, a device or '-' is written directly. Sound is not carried over.",
         {&kInput, &kOutput}},
        {kCommand_Frame,
         "frame",
         "Writes one frame as a still.",
         "Renders the frame of IN that is shown at --time (the first one by default) and writes it to OUT.",
         {&kInput, &kStill}},
        {kCommand_Thumbnails,
         "thumbnails",
         "Writes small stills, spread over a range.",
         "Writes stills of IN into DIR, named by frame number. --count spreads them evenly, --every sets the "
         "distance between them.",
         {&kInput, &kFolder}},
        {kCommand_ContactSheet,
         "contact-sheet",
         "Writes a table of small pictures with their times.",
         "Renders a grid of thumbnails, each labelled with its time, and writes it to OUT as one still.",
         {&kInput, &kStill}},
        {kCommand_Info,
         "info",
         "Tells what a file holds and how it is read.",
         "Prints container, codec, size, rate, frame count, timecode, colour and field order of IN, the list "
         "of its video streams, and what is done to its pictures on the way to a frame.",
         {&kInput, nullptr}},
        {kCommand_Explain,
         "explain",
         "Tells how one frame is made.",
         "Renders the frame of IN that is shown at --time (the first one by default), throws it away, and "
         "prints "
         "what became of the request and who worked on it: each step with its time in milliseconds and its "
         "thread. Exit code and messages are those of the command frame.",
         {&kInput, nullptr}},
        {kCommand_Inspect,
         "inspect",
         "Tells what a timeline becomes before it is rendered.",
         "Prints the segments of the timeline IN and the nodes that play in them, with their properties, "
         "flags, "
         "hashes, inputs and operators (effects), each node once; with --time only what makes that frame.",
         {&kDocument, nullptr}},
        {kCommand_Validate,
         "validate",
         "Tells what is wrong in a timeline.",
         "Reads the timeline IN with its media and prints a line for everything that is wrong or that is "
         "only "
         "approximated, each with its place in the document as a JSON pointer. Ends with 65 where there are "
         "errors; warnings end with 0.",
         {&kDocument, nullptr}},
        {kCommand_Compare,
         "compare",
         "Tells how far two inputs are apart.",
         "Lays A and B side by side, frame by frame, and prints PSNR, the largest difference and the first "
         "frame that differs. Ends with 1 where they differ by more than --max-diff and --min-psnr allow, in "
         "size or in length. Differences are counted in steps of 8 bits.",
         {&kFirst, &kSecond}},
        {kCommand_Cache,
         "cache",
         "Lists, checks or removes the frames that are kept on disk.",
         "Looks after the disk cache, in which frames that were read once are kept for later runs: that of "
         "--disk-cache, or the usual one. Only what is the cache's own is ever removed; a directory that "
         "isn't marked as a cache is left alone.",
         {&kAction, nullptr}},
        {kCommand_Plugins,
         "plugins",
         "Lists the effects and transitions that timelines can name.",
         "Tells of the effects that are built in and of the frei0r plug-ins of this machine: their ids, what "
         "they are, their parameters, and of those that can't be used, why. Plug-ins are looked for in the "
         "folders of FREI0R_PATH, separated by colons, or else in ~/.frei0r-1/lib, /usr/local/lib/frei0r-1 "
         "and "
         "/usr/lib/frei0r-1.",
         {&kPluginAction, &kEffect}},
    };
    return sTable;
}

const std::vector<OptionRow>& OptionTable()
{
    constexpr std::uint32_t kRangeUsers = kCommand_Render | kCommand_Thumbnails | kCommand_ContactSheet;
    constexpr std::uint32_t kManyStills = kCommand_Thumbnails | kCommand_ContactSheet;
    static const std::vector<OptionRow> sTable = {
        Text("time", "TIME", kCommand_Frame | kCommand_Explain | kCommand_Inspect, &Options::mTime,
             "The frame to show. A frame number (84 or #84), a timecode (01:00:03:12, or 01:00:03;12 with "
             "dropped numbers) counted from the file's start timecode, seconds (3.5s), start, or end for the "
             "last frame."),
        Text("range", "A:B", kRangeUsers, &Options::mRange,
             "From A up to but not including B. Both are times; end as B is one past the last frame, and an "
             "empty A or B is the start or the end."),
        Text("rate", "RATE", kCommand_Media, &Options::mRate,
             "Frames a second of the output, such as 25, 29.97 or 30000/1001. Goes by the clock unless "
             "--rate-by "
             "or another option says otherwise: output frame n shows the source frame at n/RATE."),
        Choice(
            "rate-by", "WAY", kCommand_Media, &Options::mRateBy, "clock mix blend",
            "How --rate is come to. clock shows whole frames; mix has each field show the frame of its own "
            "moment; blend dissolves and averages. mix where --field, --speed or --interlace-consecutive is "
            "given, else clock."),
        Text("speed", "S", kCommand_Media, &Options::mSpeed,
             "Play S times as fast, such as 0.5 or 2; backwards from the last frame with a negative number. "
             "Fields "
             "show the frames of their moments, unless --blend is given."),
        Switch("blend", 0, kCommand_Media, &Options::mBlend,
               "Blend frames where speed or rate are changed: the mean of what a frame plays, or a dissolve "
               "between "
               "two."),
        Switch("deinterlace", 0, kCommand_Media, &Options::mDeinterlace,
               "Make progressive frames of the first field of each frame. Progressive sources stay."),
        Choice("field", "ORDER", kCommand_Media, &Options::mField, "upper lower progressive",
               "Field order of the output. By default that of the source, or what other options make of it."),
        Switch("reverse-dominance", 0, kCommand_Media, &Options::mReverseDominance,
               "The source's fields are in the other order than its file tells."),
        Switch("swap-fields", 0, kCommand_Media, &Options::mSwapFields,
               "Have fields change places, so that the output has the other order of fields than the source. "
               "With "
               "--remove-pulldown: the other field than usual comes first in the source."),
        Switch("remove-flicker", 0, kCommand_Media, &Options::mRemoveFlicker,
               "Filter vertically, so that thin lines don't flicker where fields are shown one by one."),
        Switch("interlace-consecutive", 0, kCommand_Media, &Options::mInterlaceConsecutive,
               "Make the two fields of a frame of two successive frames, which plays at twice the speed."),
        PulldownOption(),
        Text("par", "W:H", kCommand_Media, &Options::mPar,
             "Pixel aspect of the output, such as 1:1 or 16:11. The picture keeps its shape by another "
             "width, unless it is given a size."),
        Choice(
            "fit", "WAY", kCommand_Renders, &Options::mFit, "stretch inside fill fit none",
            "How the picture is put into a frame of --size, whose pixels are those of --par or else square: "
            "stretched over it, whole with black beside it (inside, or fit), or filling it with what juts "
            "out cut "
            "off. Of a timeline: how media of another shape are put into its picture, fit by default; none "
            "leaves "
            "them as large as they are."),
        Text("size", "WxH", kCommand_Renders, &Options::mSize,
             "Size of the output frames in pixels. -1 for one of the two keeps the shape of the picture."),
        Text("pix-fmt", "NAME", kCommand_Render | kCommand_Frame | kCommand_Explain, &Options::mPixelFormat,
             "Pixel format of the output, by FFmpeg's name for it. By default the one that the encoder takes "
             "with the least loss; bgra for null: and raw video."),
        Text(
            "format", "NAME", kCommand_Render | kCommand_Inspect, &Options::mFormat,
            "Container of the output, by FFmpeg's name for it, or raw for bare pictures. Needed where the "
            "name of OUT doesn't tell; y4m for '-'. Of inspect: text, which is the default, json, or dot for "
            "Graphviz."),
        Text("codec", "NAME", kCommand_Render, &Options::mCodec,
             "Encoder of the output, by FFmpeg's name for it. By default the usual one of the container."),
        Text("crf", "NUMBER", kCommand_Render, &Options::mCrf,
             "Constant quality, on the encoder's own scale. Lower is better."),
        Text("bitrate", "BITS", kCommand_Render, &Options::mBitrate,
             "Bits a second of the output; k and M are understood."),
        EncoderOption(),
        Choice("quality", "NAME", kCommand_Renders, &Options::mQuality, "draft low medium high max",
               "Quality of scaling and of field handling. high by default."),
        Text("count", "N", kManyStills, &Options::mCount,
             "Number of pictures, spread evenly over the range. 20 by default."),
        Text("every", "TIME", kManyStills, &Options::mEvery,
             "Distance between two pictures: a number of frames, or seconds as in 10s."),
        Choice("at", "WHAT", kManyStills, &Options::mAt, "cuts markers",
               "Show a timeline where its clips begin and end, or at its markers."),
        Text("timeline", "NAME|N", kCommand_Documents, &Options::mTimeline,
             "Which timeline of a document with several, by its name or by its number counted from 0. The "
             "first "
             "by default."),
        Switch(
            "strict", 0, kCommand_Documents, &Options::mStrict,
            "Take broken rules of a timeline that have a cure, such as transitions that overlap, for errors, "
            "and end with 65 where there are errors."),
        Switch(
            "allow-stateful", 0, kCommand_Documents | kCommand_Plugins, &Options::mAllowStateful,
            "Take plug-ins whose picture depends on earlier frames or on chance. They are given all frames "
            "of their clip in order, on one thread, which is then all that is used unless a number is given. "
            "Without it a timeline that uses one ends with 65."),
        Switch("sandbox-plugins", 0, kCommand_Documents | kCommand_Plugins, &Options::mSandboxPlugins,
               "Run plug-ins in processes of their own, so that one that crashes or hangs fails a frame and "
               "not the run."),
        Choice("out-of-range", "WAY", kCommand_Documents, &Options::mOutOfRange, "hold black error",
               "What a timeline shows where a clip asks for more than its media has: the nearest frame, "
               "which is "
               "the default, black, or the nearest frame with an error told."),
        List("map-path", "FROM=TO", kCommand_Documents, &Options::mPathMappings,
             "Media of a timeline whose path begins with FROM is looked for at TO. May be given several "
             "times; "
             "the longest FROM that fits counts.",
             ValueKind::kText),
        List("media-dir", "DIR", kCommand_Documents, &Options::mMediaFolders,
             "Media of a timeline that is not where the document says is looked for in DIR, and in the "
             "folders "
             "in it, by the name of its file. May be given several times.",
             ValueKind::kDirectory),
        Text("media-key", "KEY", kCommand_Documents, &Options::mMediaKey,
             "Which media reference of the clips of a timeline is shown, such as that of proxies. Clips "
             "without "
             "it show their active one."),
        Choice("on-missing", "WAY", kCommand_Documents, &Options::mOnMissing, "card black transparent",
               "What stands where media of a timeline is missing. The other commands show a card by default; "
               "render ends with 66 before the first frame unless this is given."),
        Text("columns", "N", kCommand_ContactSheet, &Options::mColumns, "Pictures in one row. 5 by default."),
        Text("stream", "N", kCommand_Media, &Options::mStream,
             "Video stream to read, by its index in the file. By default the one that the file marks, or the "
             "largest."),
        Switch("overwrite", 'y', kCommand_Pictures, &Options::mOverwrite,
               "Replace an output that is there already. Without it such an output is left alone."),
        Switch(
            "checksum", 0, kCommand_Render | kCommand_Frame | kCommand_Thumbnails, &Options::mChecksum,
            "Print one line 'frame N MD5' on standard output for each frame. The sum goes over the pixels as "
            "they are handed to the encoder, row by row without padding."),
        Switch("again", 0, kCommand_Explain, &Options::mAgain,
               "Ask for the frame a second time, which tells what was kept of the first."),
        Switch(
            "chain", 0, kCommand_Info, &Options::mChain,
            "Print as well what is done to a frame by the options for fields, speed, rate and shape, link by "
            "link, and what comes out."),
        Switch("json", 0, kCommand_All, &Options::mJson,
               "Print the answer, or the statistics, as one JSON object."),
        Switch("stats", 0, kCommand_Pictures, &Options::mStats,
               "Print statistics on stderr at the end: requests, what was read, decoded, converted, rendered "
               "and written, how often and how long, and what waited for what."),
        Text("trace", "FILE", kCommand_Pictures, &Options::mTrace,
             "Write a trace of the run to FILE, as JSON in Chrome's trace event format: the work of each "
             "thread, what became of each request, and how busy the processors were.",
             ValueKind::kFile),
        Text("progress", "FILE|fd:N", kCommand_Render, &Options::mProgress,
             "Report progress to a file or an open descriptor, about twice a second.", ValueKind::kFile),
        Choice(
            "progress-format", "FORMAT", kCommand_Render, &Options::mProgressFormat, "keys json",
            "Form of that report. keys writes key=value lines as FFmpeg does, json one object a line. A FILE "
            "that ends in .jsonl means json."),
        Text("max-diff", "N", kCommand_Compare, &Options::mMaxDiff,
             "The largest difference of a component that counts as none, in steps of 8 bits, such as 1 or "
             "0.5. 0 "
             "by default, and without a limit where only --min-psnr is given."),
        Text("min-psnr", "DB", kCommand_Compare, &Options::mMinPSNR,
             "The lowest PSNR that a frame may have, in decibels."),
        Text("threads", "N", kCommand_Documents, &Options::mThreads,
             "Threads of decoders, pools and executors alike. By default one for each processor that the "
             "process may use."),
        Text("memory", "SIZE", kCommand_Documents, &Options::mMemory,
             "Memory for frames, caches and frames in flight together; a bare number counts MiB, M and G are "
             "understood. By default a quarter of the machine's memory, at most 4G."),
        Text("cpu", "TARGET", kCommand_Documents, &Options::mCpu,
             "Use the kernels of one SIMD target, such as SSE4 or AVX2. auto takes the best one."),
        Text("disk-cache", "DIR|off", kCommand_Renders | kCommand_Cache, &Options::mDiskCache,
             "Where frames that were read are kept for later runs: in a folder of their own below DIR, which "
             "is "
             "made if it isn't there. thumbnails and contact-sheet keep theirs in the user's cache folder by "
             "default, the other commands keep none. off keeps none; a DIR of that name is ./off.",
             ValueKind::kDirectory),
        Switch("help", 'h', kCommand_All, &Options::mHelp, "Print this text."),
        Switch("version", 'V', kCommand_None, &Options::mVersion,
               "Print the version and the parts, with their licences."),
        Choice("generate", "WHAT", kCommand_None, &Options::mGenerate, "man bash zsh fish",
               "Print the manual page, or the completion script of a shell."),
    };
    return sTable;
}

const CommandRow* FindCommand(Command inCommand)
{
    for (const CommandRow& row : CommandTable())
    {
        if (row.mCommand == inCommand)
        {
            return &row;
        }
    }
    return nullptr;
}

} // namespace vrender
