//go:build windows && amd64

// Package launcher is launcher.dll for Go: calls through the table of slots that launcher_c.h
// describes, by number.
//
// A Launcher belongs to the operating system's thread that made it: lock the goroutine to its
// thread (runtime.LockOSThread) first. Windows ends a pipe's operations with the thread that began
// them.
package launcher

import (
	"errors"
	"fmt"
	"runtime"
	"strings"
	"syscall"
	"time"
	"unicode/utf16"
	"unsafe"
)

// Applications are the identifiers of all applications.
var Applications = []string{
	"TAVR-GAME",
	"TAMSIN-BETA2-GAME",
	"TAMSIN-MAINLINE-GAME",
	"TAMSIN-CTE-GAME",
	"BRENNA-GAME",
	"BRENNA-CTE-GAME",
	"SOLANO-GAME",
	"OSTREL-APP",
}

const abiVersion = 1

// Slots of the launcher that this package calls, by their numbers in launcher_c.h.
const (
	slotGetNextEvent       = 1
	slotFreeEvent          = 2
	slotFreeString         = 3
	slotIsInstalled        = 6
	slotGetVersion         = 7
	slotGetLauncherVersion = 10
	slotQueryServer        = 16
	slotPollApps           = 17
	slotCount              = 19
)

// Slot 0 of a text result.
const slotGetString = 0

// object is how every object of the DLL begins.
type object struct {
	slots *[slotCount]uintptr
}

// Event is a copy of an event.
type Event struct {
	Source, Name string
	Arguments    [8]string
}

// Launcher is one launcher object.
type Launcher struct {
	raw     *object
	destroy *syscall.Proc
	queued  syscall.Handle
}

var (
	kernel32    = syscall.NewLazyDLL("kernel32.dll")
	createEvent = kernel32.NewProc("CreateEventW")
	setEvent    = kernel32.NewProc("SetEvent")
)

// New loads the DLL, which stays loaded, and creates a launcher.
func New(dll string) (*Launcher, error) {
	library, err := syscall.LoadDLL(dll)
	if err != nil {
		return nil, err
	}
	version, err := library.FindProc("g_LauncherABIVersion")
	if err != nil {
		return nil, err
	}
	if found := *(*uint32)(pointer(version.Addr())); found != abiVersion {
		return nil, fmt.Errorf("%s has contract %d instead of %d", dll, found, abiVersion)
	}
	create, err := library.FindProc("CreateLauncher")
	if err != nil {
		return nil, err
	}
	destroy, err := library.FindProc("DestroyLauncher")
	if err != nil {
		return nil, err
	}
	event, _, err := createEvent.Call(0, 0, 0, 0)
	if event == 0 {
		return nil, err
	}
	// The notifier is SetEvent itself, with the event as its argument: no Go code runs on the
	// launcher's threads or under its lock.
	raw, _, _ := create.Call(event, setEvent.Addr())
	if raw == 0 {
		syscall.CloseHandle(syscall.Handle(event))
		return nil, errors.New("the launcher was not created: out of memory")
	}
	return &Launcher{(*object)(pointer(raw)), destroy, syscall.Handle(event)}, nil
}

// Close destroys the launcher, after it has waited for the results that are outstanding.
func (l *Launcher) Close() {
	l.destroy.Call(uintptr(unsafe.Pointer(l.raw)))
	syscall.CloseHandle(l.queued)
}

// Version is the library's version.
func (l *Launcher) Version() string {
	return l.take(l.call(slotGetLauncherVersion))
}

// IsInstalled looks an application up.
func (l *Launcher) IsInstalled(app string) bool {
	// A bool is the lowest byte; the others hold anything.
	return byte(l.call(slotIsInstalled, wide(app))) != 0
}

// AppVersion is an application's version, or a word that says why there is none.
func (l *Launcher) AppVersion(app string) string {
	return l.take(l.call(slotGetVersion, wide(app)))
}

// QueryServer asks a game server for its state. The answer is an event "QueryServerResult" whose
// source is the request, which must not be an application's identifier.
func (l *Launcher) QueryServer(request, text, game, address string, port uint16) {
	l.call(slotQueryServer, wide(request), wide(text), wide(game), wide(address),
		argument{number: uintptr(port)})
}

// PollApps looks after the pipes of running games. To be called about ten times a second.
func (l *Launcher) PollApps() {
	l.call(slotPollApps)
}

// NextEvent is the oldest event. When there is none, it waits for one, and is nil if none came.
func (l *Launcher) NextEvent(patience time.Duration) *Event {
	if event := l.fetch(); event != nil {
		return event
	}
	syscall.WaitForSingleObject(l.queued, uint32(patience.Milliseconds()))
	return l.fetch()
}

func (l *Launcher) fetch() *Event {
	raw := l.call(slotGetNextEvent)
	if raw == 0 {
		return nil
	}
	text := func(slot int) string { return textOf(invoke(raw, slot)) }
	event := &Event{Source: text(0), Name: text(1)}
	for i := range event.Arguments {
		event.Arguments[i] = text(2 + i)
	}
	l.call(slotFreeEvent, argument{number: raw})
	return event
}

// take copies a text result and gives it back. There is none when memory has run out.
func (l *Launcher) take(raw uintptr) string {
	if raw == 0 {
		return ""
	}
	text := textOf(invoke(raw, slotGetString))
	l.call(slotFreeString, argument{number: raw})
	return text
}

func (l *Launcher) call(slot int, arguments ...argument) uintptr {
	return invoke(uintptr(unsafe.Pointer(l.raw)), slot, arguments...)
}

// argument is a number, or a text that has to stay where it is until the slot returns.
type argument struct {
	number uintptr
	text   *uint16
}

// invoke calls a slot of any object.
func invoke(raw uintptr, slot int, arguments ...argument) uintptr {
	values := []uintptr{raw}
	for _, a := range arguments {
		values = append(values, a.number|uintptr(unsafe.Pointer(a.text)))
	}
	result, _, _ := syscall.SyscallN((*object)(pointer(raw)).slots[slot], values...)
	runtime.KeepAlive(arguments)
	return result
}

// pointer is for addresses of the DLL's memory, which Go's collector does not know.
func pointer(address uintptr) unsafe.Pointer {
	return *(*unsafe.Pointer)(unsafe.Pointer(&address))
}

// wide is UTF-16 with a zero at its end; a text ends at its first zero.
func wide(text string) argument {
	text, _, _ = strings.Cut(text, "\x00")
	units, _ := syscall.UTF16PtrFromString(text)
	return argument{text: units}
}

func textOf(address uintptr) string {
	first := pointer(address)
	length := 0
	for *(*uint16)(unsafe.Add(first, 2*length)) != 0 {
		length++
	}
	return string(utf16.Decode(unsafe.Slice((*uint16)(first), length)))
}
