"""Traces as the cache writes them, for tests of the tool's trace command."""

HOSTILE_URL = ("http://server/\"><script>document.title='ran'</script><img src=x onerror=\"document.title='ran'\">"
               "</span></details><style>*{display:none}</style><!--'&lt;\x1b[31m\u202egpj.")

HEADING = ("*" * 80 + "\n****************************  QEL SE, Trace File  ******************************\n"
           "** Main trace mode: %s\n"
           "** Program: \tC:\\Programs\\<pad>.exe\n" + "*" * 80 + "\n")


class Trace:
    """One trace file. With a start, every write has a time stamp, which wait() moves on."""

    def __init__(self, thread=4711, seconds=None, level="Error, Warning, Developer Notes and additional data "):
        self.thread = thread
        self.seconds = seconds
        self.day = 21
        self.writes = []
        for line in (HEADING % level).splitlines(keepends=True):
            self.write(line)
        self.writes.append("\n")
        self.heading = len(self.writes)

    @property
    def records(self):
        return "".join(self.writes[self.heading:])

    @property
    def text(self):
        return "".join(self.writes)

    def write(self, text):
        if self.seconds is not None:
            minutes, seconds = divmod(self.seconds, 60)
            self.writes.append(f"({self.day}.11.26 10:{minutes:02}:{seconds:02}) ")
        self.writes.append(text)
        return self

    def wait(self, seconds):
        self.seconds += seconds
        return self

    def prefix(self, method):
        return f"TID: {self.thread}, QEL::FrontEnd::FileCache::CFileCache::{method}"

    def call(self, method, arguments):
        return self.write(f"{self.prefix(method)}[0x55d0c8a41eb0]/17: CALL").write("(").write(arguments).write(")\n")

    def returned(self, method, result):
        return self.write(f"{self.prefix(method)}/19: return value:").write("(").write(result).write(")\n")

    def wrote(self, method, message):
        return self.write(f"{self.prefix(method)}[0x55d0c8a41eb0]/18: {message}\n")

    def error(self, method, message):
        mark = "***ERROR***: " if self.seconds is None else ""
        return self.write(f"{mark}{self.prefix(method)}[0x55d0c8a41eb0]/18: {message}\n")

    def request(self, url):
        self.call("Get_Cached_File_and_Status", f"url='{url}'")
        return self.wrote("Get_Cached_File_and_Status", f"url_or_path = '{url}'.")

    def served(self, path):
        return self.returned("Get_Cached_File_and_Status", path)

    def fresh(self, url, path="/cache/1.xml"):
        return self.request(url).served(path)

    def downloaded(self, url, path="/cache/2.xml", seconds=0):
        self.request(url).call("Get_Cached_Remote_File", f"url='{url}', expired_f/downloader_f not traced.")
        self.wrote("Get_Cached_Remote_File", f"Remote file '{url}' not found in cache. Will be downloaded.")
        self.call("Download_Inet_URL", f"url='{url}'")
        if seconds:
            self.wait(seconds)
        self.returned("Download_Inet_URL", f"rtn = {path}").returned("Get_Cached_Remote_File", path)
        return self.served(path)

    def failed(self, url, status=404):
        self.request(url).call("Get_Cached_Remote_File", f"url='{url}', expired_f/downloader_f not traced.")
        self.call("Download_Inet_URL", f"url='{url}'")
        self.error("Download_Inet_URL",
                   f"HTTP GET request failed with status {status}. On HTTP error we cannot download the file.")
        self.returned("Download_Inet_URL", "''").returned("Get_Cached_Remote_File", "''")
        return self.served("''")
