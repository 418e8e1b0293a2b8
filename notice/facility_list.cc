// In a file of its own, because a program may replace the list: if the compiler saw the names, it would assume that
// they never change.
#include "Corix_annal.h"

const NoticeFacility notice_facility_list[] = {
    {0, ""},
    {1, "SMART"},
    {2, "Antivirus"},
    {3, "Backup External Drive"},
    {4, "Backup MIRA"},
    {5, "Backup Rsync"},
    {6, "Backup LUN"},
    {7, "Backup Amazon S3"},
    {8, "event log"},
    {9, "connect log"},
    {10, "USB Drive"},
    {11, "eSATA Drive"},
    {12, "Disk Volume"},
    {13, "App"},
    {14, "Media Library"},
    {15, "Video Transcoding"},
    {16, "Video Real-time Transcoding"},
    {17, "System"},
    {18, "USB One Touch Copy"},
    {19, "Tandem"},
    {20, "NEWS"},
    {-1, nullptr},
};
