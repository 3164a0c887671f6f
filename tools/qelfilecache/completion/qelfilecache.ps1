# Completion of qelfilecache for PowerShell: commands, options and their values, and after "get", "explain" and "clear"
# the addresses that the cache holds. Where it offers nothing, PowerShell offers files. To have it in every session, call this
# file in the profile: . C:\qelfilecache\share\qelfilecache\qelfilecache.ps1
Register-ArgumentCompleter -Native -CommandName 'qelfilecache', 'qelfilecache.exe' -ScriptBlock {
    param($wordToComplete, $commandAst, $cursorPosition)

    $general = @('--cache-dir', '--trace-level', '--trace-dir')
    $options = @{
        'program'  = @('--version', '--help')
        'get'      = @('--force', '--json', '--request-kind', '--help')
        'list'     = @('--expired', '--json', '--missing', '--sort', '--help')
        'explain'  = @('--check', '--json', '--request-kind', '--help')
        'prefetch' = @('--force', '--help')
        'trace'    = @('--failed', '--follow', '--html', '--json', '--since', '--summary', '--url', '--help')
        'clear'    = @('--force', '--help')
        'purge'    = @('--force', '--help')
    }
    $commands = @($options.Keys | Where-Object { $_ -ne 'program' } | Sort-Object)
    # What follows these is a value of theirs.
    $values = @{
        '--cache-dir'    = @()
        '--trace-dir'    = @()
        '--html'         = @()
        '--trace-level'  = @('0', '1', '2', '3', '4', '5')
        '--request-kind' = @('201', '202', '213')
        '--sort'         = @('age', 'size', 'url')
        '--since'        = @()
        '--url'          = @()
    }

    # The words before the current one, without their quotes.
    $words = @($commandAst.CommandElements | Select-Object -Skip 1 |
            Where-Object { $_.Extent.EndOffset -lt $cursorPosition } |
            ForEach-Object { if ($_.PSObject.Properties['Value']) { [string]$_.Value } else { $_.Extent.Text } })
    $command = ''
    $directory = @()
    $optionsEnded = $false
    for ($i = 0; $i -lt $words.Count; $i++) {
        $word = $words[$i]
        if ($word -eq '--') {
            $optionsEnded = $true
        } elseif ($word -like '--cache-dir=*') {
            $directory = @($word)
        } elseif ($values.ContainsKey($word)) {
            $i++
            if ($word -eq '--cache-dir' -and $i -lt $words.Count) { $directory = @('--cache-dir', $words[$i]) }
        } elseif ($word -notlike '-*' -and $command -eq '') {
            $command = $word
        }
    }

    $current = $wordToComplete.Trim([char[]]@("'", '"'))
    $previous = if ($words.Count -gt 0) { $words[-1] } else { '' }
    if (-not $optionsEnded -and $values.ContainsKey($previous)) {
        $offered = $values[$previous]
    } elseif ($command -eq '') {
        $offered = $commands + $general + $options['program']
    } elseif (-not $optionsEnded -and $current -like '-*') {
        $offered = $options[$command] + $general
    } elseif (@('get', 'explain', 'clear') -contains $command) {
        $program = $commandAst.CommandElements[0].Value
        $offered = @(& $program @directory list --json 2>$null | Out-String | ConvertFrom-Json | ForEach-Object { $_.url })
    } else {
        $offered = @()
    }

    $offered | Where-Object { $_ -and $_.StartsWith($current, [StringComparison]::OrdinalIgnoreCase) } | ForEach-Object {
        $text = if ($_ -match '[^\w:/\\.=+~-]') { "'" + $_.Replace("'", "''") + "'" } else { $_ }
        [System.Management.Automation.CompletionResult]::new($text, $_, 'ParameterValue', $_)
    }
}
