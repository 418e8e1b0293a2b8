// Adds an event and lists the log, through cgo.
package main

/*
#cgo LDFLAGS: -lCorix_annal
#include <Corix_annal.h>
#include <Corix_annal_text.h>

extern int collect(void* context, int columns, char** values, char** names);
*/
import "C"

import (
	"fmt"
	"os"
	"runtime/cgo"
	"strconv"
	"unsafe"
)

// Copies a text that fits. A new record is zeroed, so the terminator is there.
func put(field []C.char, text string) error {
	if len(text) >= len(field) {
		return fmt.Errorf("it does not fit: %s", text)
	}
	for i := 0; i < len(text); i++ {
		if text[i] == 0 {
			return fmt.Errorf("it has a zero byte in it: %q", text)
		}
		field[i] = C.char(text[i])
	}
	return nil
}

func check(what string, result C.int) error {
	if result == C.ANNAL_OK {
		return nil
	}
	return fmt.Errorf("%s: %s", what, C.GoString(C.annal_result_text(result)))
}

//export collect
func collect(context unsafe.Pointer, columns C.int, values **C.char, names **C.char) C.int {
	lines := (*(*cgo.Handle)(context)).Value().(*[]string)
	row := unsafe.Slice(values, int(columns))
	// A column without a value (NULL) comes as a null pointer, and becomes an empty text.
	level, _ := strconv.Atoi(C.GoString(row[1]))
	*lines = append(*lines, fmt.Sprintf("%s %s %s %s", C.GoString(row[0]),
		C.GoString(C.annal_level_name(C.int(level))), C.GoString(row[4]), C.GoString(row[7])))
	return 0
}

func addAndList() error {
	created := C.annal_event_create_tbl(0, 0)
	if created != C.ANNAL_TABLE_FAILED { // which means that the log exists
		if err := check("create", created); err != nil {
			return err
		}
	}
	var event C.EventRecord
	event.event_type = C.ANNAL_WARNING
	if err := put(event.event_user[:], "o'neil"); err != nil {
		return err
	}
	if err := put(event.event_desc[:], "Volume 1 is nearly full."); err != nil {
		return err
	}
	if err := check("add", C.annal_event_add_msgid_ex3(&event)); err != nil {
		return err
	}

	var lines []string
	handle := cgo.NewHandle(&lines)
	defer handle.Delete()
	result := C.annal_event_query(C.annal_row_callback(C.collect), C.ANNAL_EVENT_SORT_ID, 0, 100, 0,
		unsafe.Pointer(&handle))
	for _, line := range lines {
		fmt.Println(line)
	}
	return check("list", result)
}

func main() {
	if err := addAndList(); err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}
