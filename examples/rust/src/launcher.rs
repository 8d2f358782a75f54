//! launcher.dll for Rust: a small safe wrapper around the table of slots that `launcher_c.h` describes.

use std::ffi::{c_void, OsStr};
use std::fmt;
use std::os::windows::ffi::OsStrExt;
use std::path::Path;
use std::sync::mpsc::{sync_channel, Receiver, SyncSender};
use std::time::Duration;

/// The identifiers of all applications.
pub const APPLICATIONS: [&str; 8] = [
    "TAVR-GAME",
    "TAMSIN-BETA2-GAME",
    "TAMSIN-MAINLINE-GAME",
    "TAMSIN-CTE-GAME",
    "BRENNA-GAME",
    "BRENNA-CTE-GAME",
    "SOLANO-GAME",
    "OSTREL-APP",
];

const ABI_VERSION: u32 = 1;

type WideText = *const u16;
type GetText = unsafe extern "C" fn(*mut c_void) -> WideText;

/// A slot that this wrapper does not call.
type Unused = *const c_void;

/// An object of the DLL: a pointer to a structure that begins with the address of its table.
#[repr(C)]
struct Object<Slots> {
    slots: *const Slots,
}

#[repr(C)]
struct StringSlots {
    get_string: GetText,
    destroy: Unused,
}

#[repr(C)]
struct EventSlots {
    texts: [GetText; 10],
}

type RawLauncher = *mut Object<LauncherSlots>;
type RawString = *mut Object<StringSlots>;
type RawEvent = *mut Object<EventSlots>;

#[repr(C)]
struct LauncherSlots {
    post_event: Unused,
    get_next_event: unsafe extern "C" fn(RawLauncher) -> RawEvent,
    free_event: unsafe extern "C" fn(RawLauncher, RawEvent),
    free_string: unsafe extern "C" fn(RawLauncher, RawString),
    wait_for_threads: Unused,
    ping_batch: Unused,
    is_installed: unsafe extern "C" fn(RawLauncher, WideText) -> bool,
    get_version: unsafe extern "C" fn(RawLauncher, WideText) -> RawString,
    get_parameter: Unused,
    get_extra_arguments: Unused,
    get_launcher_version: unsafe extern "C" fn(RawLauncher) -> RawString,
    send_command: Unused,
    kill: Unused,
    launch: Unused,
    is_running: Unused,
    set_parameter: Unused,
    query_server: unsafe extern "C" fn(RawLauncher, WideText, WideText, WideText, WideText, u32),
    poll_apps: unsafe extern "C" fn(RawLauncher),
    destroy: Unused,
}

type Notifier = unsafe extern "C" fn(*mut c_void);
type CreateLauncher = unsafe extern "C" fn(*mut c_void, Notifier) -> RawLauncher;
type DestroyLauncher = unsafe extern "C" fn(RawLauncher);

#[link(name = "kernel32")]
extern "system" {
    fn LoadLibraryW(path: WideText) -> *mut c_void;
    fn GetProcAddress(library: *mut c_void, name: *const u8) -> *mut c_void;
}

#[derive(Debug)]
pub enum Error {
    /// The DLL could not be loaded; the system says why.
    Load(std::io::Error),
    /// It is another DLL, or one with another contract.
    Contract,
    OutOfMemory,
}

impl fmt::Display for Error {
    fn fmt(&self, f: &mut fmt::Formatter<'_>) -> fmt::Result {
        match self {
            Error::Load(error) => write!(f, "launcher.dll was not loaded: {error}"),
            Error::Contract => write!(f, "launcher.dll has another contract"),
            Error::OutOfMemory => write!(f, "out of memory"),
        }
    }
}

impl std::error::Error for Error {}

/// A copy of an event.
#[derive(Debug)]
pub struct Event {
    pub source: String,
    pub name: String,
    pub arguments: [String; 8],
}

/// One launcher. It belongs to the thread that made it: the pointer keeps it from being sent.
pub struct Launcher {
    raw: RawLauncher,
    destroy: DestroyLauncher,
    queued: Receiver<()>,
    /// Its address is the launcher's `plugin`; the launcher is destroyed before it.
    _notified: Box<SyncSender<()>>,
}

impl Launcher {
    /// Loads the DLL, which stays loaded until the process ends, and creates a launcher.
    pub fn load(dll: &Path) -> Result<Launcher, Error> {
        let library = unsafe { LoadLibraryW(wide(dll.as_os_str()).as_ptr()) };
        if library.is_null() {
            return Err(Error::Load(std::io::Error::last_os_error()));
        }
        let export = |name: &[u8]| {
            let address = unsafe { GetProcAddress(library, name.as_ptr()) };
            if address.is_null() {
                Err(Error::Contract)
            } else {
                Ok(address)
            }
        };
        let version = export(b"g_LauncherABIVersion\0")? as *const u32;
        if unsafe { *version } != ABI_VERSION {
            return Err(Error::Contract);
        }
        // Sound: these are the exports' types in version 1 of the contract.
        let create: CreateLauncher = unsafe { std::mem::transmute(export(b"CreateLauncher\0")?) };
        let destroy: DestroyLauncher =
            unsafe { std::mem::transmute(export(b"DestroyLauncher\0")?) };

        let (sender, queued) = sync_channel(1);
        let mut notified = Box::new(sender);
        let plugin: *mut SyncSender<()> = &mut *notified;
        let raw = unsafe { create(plugin.cast(), notify) };
        if raw.is_null() {
            return Err(Error::OutOfMemory);
        }
        Ok(Launcher {
            raw,
            destroy,
            queued,
            _notified: notified,
        })
    }

    pub fn version(&self) -> String {
        unsafe { self.take((self.slots().get_launcher_version)(self.raw)) }
    }

    pub fn is_installed(&self, app: &str) -> bool {
        unsafe { (self.slots().is_installed)(self.raw, wide(app).as_ptr()) }
    }

    pub fn app_version(&self, app: &str) -> String {
        unsafe { self.take((self.slots().get_version)(self.raw, wide(app).as_ptr())) }
    }

    /// Asks a game server for its state. The answer is an event "QueryServerResult" whose source is
    /// `request`, which must not be an application's identifier.
    pub fn query_server(&self, request: &str, text: &str, game: &str, address: &str, port: u16) {
        unsafe {
            (self.slots().query_server)(
                self.raw,
                wide(request).as_ptr(),
                wide(text).as_ptr(),
                wide(game).as_ptr(),
                wide(address).as_ptr(),
                port.into(),
            )
        }
    }

    /// Looks after the pipes of running games. To be called about ten times a second.
    pub fn poll_apps(&self) {
        unsafe { (self.slots().poll_apps)(self.raw) }
    }

    /// The oldest event. When there is none, waits for one.
    pub fn next_event(&self, patience: Duration) -> Option<Event> {
        // The queue first: one notification may stand for several events.
        if let Some(event) = self.fetch() {
            return Some(event);
        }
        self.queued.recv_timeout(patience).ok()?;
        self.fetch()
    }

    fn fetch(&self) -> Option<Event> {
        let raw = unsafe { (self.slots().get_next_event)(self.raw) };
        if raw.is_null() {
            return None;
        }
        let text = |index: usize| unsafe { to_string(((*(*raw).slots).texts[index])(raw.cast())) };
        let event = Event {
            source: text(0),
            name: text(1),
            arguments: std::array::from_fn(|argument| text(2 + argument)),
        };
        unsafe { (self.slots().free_event)(self.raw, raw) };
        Some(event)
    }

    fn slots(&self) -> &LauncherSlots {
        unsafe { &*(*self.raw).slots }
    }

    /// Copies a text result and gives it back. There is none when memory has run out.
    unsafe fn take(&self, raw: RawString) -> String {
        if raw.is_null() {
            return String::new();
        }
        let text = to_string(((*(*raw).slots).get_string)(raw.cast()));
        (self.slots().free_string)(self.raw, raw);
        text
    }
}

impl Drop for Launcher {
    /// Waits for the results that are outstanding.
    fn drop(&mut self) {
        unsafe { (self.destroy)(self.raw) }
    }
}

/// Runs on the thread that queued the event, under the launcher's lock: wakes the host and leaves.
unsafe extern "C" fn notify(plugin: *mut c_void) {
    let notified = &*(plugin as *const SyncSender<()>);
    // A full channel has woken the host already.
    let _ = notified.try_send(());
}

/// UTF-16 with a zero behind it.
fn wide(text: impl AsRef<OsStr>) -> Vec<u16> {
    text.as_ref().encode_wide().chain(Some(0)).collect()
}

unsafe fn to_string(text: WideText) -> String {
    let length = (0..).take_while(|&index| *text.add(index) != 0).count();
    String::from_utf16_lossy(std::slice::from_raw_parts(text, length))
}
