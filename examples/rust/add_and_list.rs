// Adds an event and lists the log, with the declarations that bindgen generates from the header.
#![allow(non_camel_case_types, non_snake_case, non_upper_case_globals, dead_code)]

use std::ffi::CStr;
use std::os::raw::{c_char, c_int, c_void};

include!(concat!(env!("OUT_DIR"), "/bindings.rs"));

// Copies a text that fits. The record is zeroed, so the terminator is there.
fn put(field: &mut [c_char], text: &str) -> Result<(), String> {
    if text.len() >= field.len() || text.contains('\0') {
        return Err(format!("it does not fit: {text}"));
    }
    for (to, from) in field.iter_mut().zip(text.bytes()) {
        *to = from as c_char;
    }
    Ok(())
}

fn check(what: &str, result: c_int) -> Result<(), String> {
    if result == annal_result_ANNAL_OK {
        return Ok(());
    }
    Err(format!("{what}: the library answered {result}"))
}

unsafe extern "C" fn collect(
    context: *mut c_void,
    _columns: c_int,
    values: *mut *mut c_char,
    _names: *mut *mut c_char,
) -> c_int {
    let lines = &mut *(context as *mut Vec<String>);
    // A column without a value (NULL) comes as a null pointer.
    let text = |column| match *values.add(column) {
        value if value.is_null() => "".into(),
        value => CStr::from_ptr(value).to_string_lossy(),
    };
    let level = match text(1).as_ref() {
        "" | "0" => "information",
        "1" => "warning",
        _ => "error",
    };
    lines.push(format!("{} {} {} {}", text(0), level, text(4), text(7)));
    0
}

fn main() -> Result<(), String> {
    let created = unsafe { annal_event_create_tbl(0, 0) };
    if created != annal_result_ANNAL_TABLE_FAILED {
        check("create", created)?; // the other code means that the log exists
    }
    let mut event: EventRecord = unsafe { std::mem::zeroed() };
    event.event_type = annal_level_ANNAL_WARNING as i32;
    put(&mut event.event_user, "o'neil")?;
    put(&mut event.event_desc, "Volume 1 is nearly full.")?;
    check("add", unsafe { annal_event_add_msgid_ex3(&mut event) })?;

    let mut lines: Vec<String> = Vec::new();
    let sort = annal_event_sort_ANNAL_EVENT_SORT_ID;
    let context = &mut lines as *mut Vec<String> as *mut c_void;
    check("list", unsafe { annal_event_query(Some(collect), sort, 0, 100, 0, context) })?;
    for line in &lines {
        println!("{line}");
    }
    Ok(())
}
