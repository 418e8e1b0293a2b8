"""The header's records, field by field. A test compares every size and offset with a program in C."""

from __future__ import annotations

import ctypes
from ctypes import c_char, c_char_p, c_int, c_int32, c_int64, c_long, c_uint32


class EventRecord(ctypes.Structure):
    _fields_ = [
        ("event_id", c_int32),
        ("event_type", c_int32),
        ("event_date_time", c_char * 56),
        ("event_user", c_char * 65),
        ("event_ip", c_char * 65),
        ("event_comp", c_char * 65),
        ("event_desc", c_char * 2049),
        ("event_msgid", c_char * 65),
        ("event_timet", c_int64),
        ("event_app_id", c_char * 65),
        ("event_app_name", c_char * 129),
        ("event_category_id", c_char * 65),
        ("event_category", c_char * 129),
        ("event_client_id", c_char * 65),
        ("event_client_app", c_char * 129),
        ("event_client_agent", c_char * 256),
    ]


class ConnRecord(ctypes.Structure):
    _fields_ = [
        ("conn_id", c_int32),
        ("conn_type", c_int32),
        ("conn_date", c_char * 28),
        ("conn_time", c_char * 28),
        ("conn_user", c_char * 65),
        ("conn_ip", c_char * 65),
        ("conn_comp", c_char * 65),
        ("conn_res", c_char * 1025),
        ("conn_serv", c_int32),
        ("conn_action", c_int32),
        ("conn_app", c_char * 257),
        ("conn_action_result", c_int32),
        ("conn_client_id", c_char * 65),
        ("conn_client_app", c_char * 129),
        ("conn_client_agent", c_char * 257),
    ]


class NoticeRecord(ctypes.Structure):
    _fields_ = [
        ("id", c_int32),
        ("severity", c_uint32),
        ("server", c_int32),
        ("action", c_int32),
        ("serviceName", c_char * 1025),
        ("facility", c_int32),
        ("time", c_int64),
        ("endtime", c_int64),
        ("user", c_char * 65),
        ("ip", c_char * 65),
        ("client", c_char * 65),
        ("desc", c_char * 2049),
        ("msgCode", c_char * 65),
        ("varNum", c_int32),
        ("varContent", c_char * 2049),
        ("name", c_char * 129),
        ("status", c_int32),
        ("uid", c_int32),
        ("gid", c_int32),
        ("link_id", c_char * 257),
        ("link_option", c_char * 1025),
        ("title", c_char * 257),
    ]


class Tm(ctypes.Structure):
    """libc's broken-down time, with its two fields beyond the standard's."""

    _fields_ = [
        ("tm_sec", c_int),
        ("tm_min", c_int),
        ("tm_hour", c_int),
        ("tm_mday", c_int),
        ("tm_mon", c_int),
        ("tm_year", c_int),
        ("tm_wday", c_int),
        ("tm_yday", c_int),
        ("tm_isdst", c_int),
        ("tm_gmtoff", c_long),
        ("tm_zone", c_char_p),
    ]


class FileOpRecord(ctypes.Structure):
    _fields_ = [
        ("event_id", c_int32),
        ("event_type", c_uint32),
        ("event_tm", Tm),
        ("event_user", c_char * 65),
        ("event_ip", c_char * 65),
        ("event_oldfilepath", c_char_p),
        ("event_filepath", c_char_p),
        ("event_isFolder", c_uint32),
        ("event_action", c_uint32),
        ("event_filesize", c_int32),
        ("event_comp", c_char * 65),
        ("event_duid", c_char * 65),
        ("event_desc", c_char * 1025),
    ]


class CatalogEntry(ctypes.Structure):
    _fields_ = [
        ("app_id", c_char_p),
        ("level", c_long),
        ("category_id", c_char_p),
        ("msg_no", c_char_p),
        ("msg_template", c_char_p),
    ]


class NoticeFacility(ctypes.Structure):
    _fields_ = [
        ("number", c_int32),
        ("name", c_char_p),
    ]
