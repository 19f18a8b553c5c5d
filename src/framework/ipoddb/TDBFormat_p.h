#pragma once

#include <QtGlobal>

// The byte layout of the files the iPod's own software keeps: the music database (iTunesDB), the
// photo database ("Photo Database"), the artwork database (ArtworkDB) and DeviceInfo. Offsets count
// from the start of a chunk (or of the file); every value is little-endian. Private to the readers and
// to the tests and tools that lay out such files.
namespace TDBFormat {

// The frame every chunk of the three databases begins with.
namespace ChunkField {
constexpr int Tag = 0;          // four ASCII letters
constexpr int HeaderLength = 4; // from the chunk's start to its first child
constexpr int TotalLength = 8;  // the chunk with its children
constexpr int ChildCount = 8;   // list chunks keep the number of their children where others keep the length
constexpr int End = 12;         // no chunk is shorter
} // namespace ChunkField

// The chunk tags.
namespace Chunk {
// In all three databases.
constexpr char DataSet[] = "mhsd";
constexpr char DataObject[] = "mhod";
constexpr char AlbumList[] = "mhla"; // newer music databases have one too, which the music reader stops at
// The music database.
constexpr char Database[] = "mhbd";
constexpr char TrackList[] = "mhlt";
constexpr char Track[] = "mhit";
constexpr char PlaylistList[] = "mhlp";
constexpr char Playlist[] = "mhyp";
constexpr char PlaylistItem[] = "mhip";
// The photo and artwork databases.
constexpr char FileHeader[] = "mhfd";
constexpr char ImageList[] = "mhli";
constexpr char Image[] = "mhii";
constexpr char ImageName[] = "mhni"; // where one stored image lies in a thumbnail file
constexpr char Album[] = "mhba";
constexpr char AlbumItem[] = "mhia";
constexpr char FileList[] = "mhlf";
constexpr char File[] = "mhif";
} // namespace Chunk

// The data set header of all three databases.
namespace DataSetField {
constexpr int Type = 12; // 32-bit in the music database, 16-bit in the photo databases
} // namespace DataSetField

// --- The music database --------------------------------------------------------------------------

// The header lengths of early iTunes versions. Newer writers use longer ones (libgpod: 244 for the
// database, 584 for a track); the reader takes each chunk's own.
namespace HeaderLength {
constexpr int Database = 104;
constexpr int DataSet = 96;
constexpr int TrackList = 92;
constexpr int Track = 156;
constexpr int PlaylistList = 92;
constexpr int Playlist = 108;
constexpr int PlaylistItem = 76;
constexpr int DataObject = 24;
constexpr int AlbumList = 92;
} // namespace HeaderLength

namespace DatabaseField {
constexpr int DataSetCount = 20;
} // namespace DatabaseField

namespace DataSetType {
constexpr qint32 Tracks = 1;
constexpr qint32 Playlists = 2;
constexpr qint32 PodcastPlaylists = 3; // the playlists again, podcasts grouped; skipped whole
} // namespace DataSetType

namespace TrackField {
constexpr int DataObjectCount = 12;
constexpr int UID = 16;
constexpr int Compilation = 30; // 8-bit
constexpr int Rating = 31;      // 8-bit
constexpr int LastModified = 32;
constexpr int Size = 36;
constexpr int Length = 40; // milliseconds
constexpr int TrackNumber = 44;
constexpr int TotalTracks = 48;
constexpr int Year = 52;
constexpr int Bitrate = 56;
constexpr int SampleRate = 60;                  // hertz, 16.16 fixed point
constexpr int SampleRateHertz = SampleRate + 2; // its integer half, 16-bit
constexpr int Volume = 64;
constexpr int StartTime = 68;
constexpr int StopTime = 72;
constexpr int PlayCount = 80;
constexpr int LastPlayed = 88;
constexpr int DiscNumber = 92;
constexpr int TotalDiscs = 96;
constexpr int DateAdded = 104;
constexpr int BookmarkTime = 108;
constexpr int Dbid = 112;         // 64-bit; artwork entries name their track by it
constexpr int Checked = 120;      // 8-bit
constexpr int BPM = 122;          // 16-bit
constexpr int ArtworkCount = 124; // 16-bit
constexpr int ArtworkSize = 130;  // read as 32 bits, of which the reader keeps the low half
constexpr int End = ArtworkSize + 4;
} // namespace TrackField

namespace PlaylistField {
constexpr int DataObjectCount = 12;
constexpr int ItemCount = 16;
constexpr int Hidden = 20;
constexpr int End = Hidden + 4;
} // namespace PlaylistField

// The hidden flag of the master playlist, which lists every track and is never shown.
constexpr qint32 HiddenMasterPlaylist = 1;

namespace PlaylistItemField {
constexpr int DataObjectCount = 12; // the position object nested in the item, as iTunes 4.9 and later write it
constexpr int TrackUID = 24;
} // namespace PlaylistItemField

// A data object; a string object keeps its string at its end, after a string header.
namespace DataObjectField {
constexpr int Type = 12;
constexpr int Position = 24;     // StringPosition in the string objects iTunes writes; not read
constexpr int StringLength = 28; // in bytes
constexpr int End = StringLength + 4;
constexpr int String = 40; // where iTunes begins a UTF-16 string; the 8-bit ones begin at the header's end
} // namespace DataObjectField

// What iTunes writes at DataObjectField::Position of a string object.
constexpr qint32 StringPosition = 1;

namespace DataObjectType {
constexpr qint32 Title = 1;    // a playlist's name inside a playlist
constexpr qint32 Location = 2; // ":iPod_Control:Music:F00:NAME.mp3"
constexpr qint32 Album = 3;
constexpr qint32 Artist = 4;
constexpr qint32 Genre = 5;
constexpr qint32 FileType = 6;
constexpr qint32 EQSetting = 7;
constexpr qint32 Comment = 8;
constexpr qint32 Category = 9;
constexpr qint32 Composer = 12;
constexpr qint32 Grouping = 13;
constexpr qint32 Description = 14;
// 8-bit strings; the pairing of 15 with the RSS address is the reader's own and is kept.
constexpr qint32 RssURL = 15;
constexpr qint32 EnclosureURL = 16;
// No strings.
constexpr qint32 SmartPlaylistData = 50;
constexpr qint32 SmartPlaylistRules = 51;
constexpr qint32 PlaylistPosition = 100;
} // namespace DataObjectType

// --- The photo and artwork databases -------------------------------------------------------------

// The header lengths the writers of the photo and artwork databases use; the reader takes each chunk's own.
namespace PhotoHeaderLength {
constexpr int FileHeader = 0x84;
constexpr int DataSet = 0x60;
constexpr int ImageList = 0x5c;
constexpr int Image = 0x98;
constexpr int DataObject = 0x18;
constexpr int ImageName = 0x4c;
constexpr int AlbumList = 0x5c;
constexpr int Album = 0x94;
constexpr int AlbumItem = 0x28;
} // namespace PhotoHeaderLength

namespace PhotoDataSetType {
constexpr qint32 Images = 1;
constexpr qint32 Albums = 2;
constexpr qint32 Files = 3;
} // namespace PhotoDataSetType

namespace ImageField {
constexpr int ID = 20; // 64-bit; in the artwork database, the dbid of the track
constexpr int End = ID + 8;
} // namespace ImageField

namespace ImageNameField {
constexpr int Offset = 20; // in the thumbnail file
constexpr int Size = 24;   // in bytes
constexpr int Height = 32; // 16-bit
constexpr int Width = 34;  // 16-bit
constexpr int End = Width + 2;
} // namespace ImageNameField

namespace AlbumItemField {
constexpr int ImageID = 16;
constexpr int End = ImageID + 4;
} // namespace AlbumItemField

// A data object of the photo databases; a string object ends with its string, then zero padding.
namespace PhotoDataObjectField {
constexpr int Type = 12;         // 16-bit
constexpr int Padding = 15;      // 16-bit, read at this odd offset
constexpr int StringLength = 24; // in bytes
constexpr int Encoding = 28;     // a PhotoStringEncoding; not read
constexpr int End = StringLength + 4;
constexpr int String = 40; // where the writers begin the string
} // namespace PhotoDataObjectField

// Strings are zero-padded to a multiple of this.
constexpr int PhotoStringAlignment = 4;
// A container of exactly this length is empty: it holds no image.
constexpr qint32 PhotoEmptyContainerLength = 44;

namespace PhotoStringEncoding {
constexpr qint32 EightBit = 1;
constexpr qint32 Utf16 = 2;
} // namespace PhotoStringEncoding

namespace PhotoDataObjectType {
constexpr qint32 Name = 1;          // of a photo or an album, 8-bit
constexpr qint32 Container = 2;     // of one stored image
constexpr qint32 ThumbnailName = 3; // the thumbnail file's name, UTF-16, ":" for "/"
} // namespace PhotoDataObjectType

// --- DeviceInfo ----------------------------------------------------------------------------------

namespace DeviceInfoField {
constexpr int NameLength = 0; // 16-bit, in UTF-16 units
constexpr int Name = 2;
} // namespace DeviceInfoField

} // namespace TDBFormat
