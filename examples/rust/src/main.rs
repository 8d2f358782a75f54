//! A host in Rust: lists the applications, then asks a game server for its state.
//!
//!     rust-host PORT        port of a server on this computer

mod launcher;

use std::time::{Duration, Instant};

use launcher::{Launcher, APPLICATIONS};

const POLL_INTERVAL: Duration = Duration::from_millis(100);
const PATIENCE: Duration = Duration::from_secs(20);

fn run() -> Result<(), Box<dyn std::error::Error>> {
    let port = std::env::args()
        .nth(1)
        .ok_or("usage: rust-host PORT")?
        .parse()?;
    let launcher = Launcher::load(&std::env::current_exe()?.with_file_name("launcher.dll"))?;
    println!("launcher {}", launcher.version());
    for app in APPLICATIONS {
        let state = if launcher.is_installed(app) {
            "installed"
        } else {
            "missing"
        };
        println!("{app}: {state}, {}", launcher.app_version(app));
    }

    launcher.query_server("rust-1", "state", "1", "127.0.0.1", port);
    let deadline = Instant::now() + PATIENCE;
    while Instant::now() < deadline {
        launcher.poll_apps();
        let event = match launcher.next_event(POLL_INTERVAL) {
            Some(event) => event,
            None => continue,
        };
        println!(
            "{} from {}: {}",
            event.name, event.source, event.arguments[0]
        );
        if event.source == "rust-1" {
            println!("{}", event.arguments[1]);
            return Ok(());
        }
    }
    Err("the server's answer did not come".into())
}

fn main() {
    if let Err(error) = run() {
        eprintln!("{error}");
        std::process::exit(1);
    }
}
